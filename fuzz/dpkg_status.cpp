// The status file of dpkg, line by line as the source reads it.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "package/DpkgStanza.h"

using LedgoraCollect::DpkgStanza;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static LedgoraCollect::S_DPKG_STATUS_PARAM pass;
  DpkgStanza::restart(pass);
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  for (std::string line; std::getline(lines, line);) {
    const std::string text = line.c_str();
    if (text.empty()) continue;
    const LedgoraCollect::DpkgLineField field = LedgoraCollect::dpkgLineField(text);
    if (text.size() < 2000 &&
        (field.key != LedgoraCollect::getDpkgField(text.c_str(), "(\\S+):\\s+") ||
         field.value != LedgoraCollect::getDpkgField(text.c_str(), "\\S+:\\s+(\\S+)"))) {
      std::abort();
    }
    if (DpkgStanza::begins(text)) {
      DpkgStanza::finish(pass);
      LedgoraCollect::DPKG_PKG_INFO package;
      const bool named = DpkgStanza::parse(pass.section, package) != DpkgStanza::Result::Nameless;
      if (named == package.name.empty()) std::abort();
      for (const std::string& path : package.configFiles) {
        if (path.size() < 2 || path.front() != '/') std::abort();
      }
      DpkgStanza::restart(pass);
    }
    DpkgStanza::append(text, pass);
    if (pass.length < 0 || static_cast<std::size_t>(pass.length) != std::strlen(pass.section)) {
      std::abort();
    }
  }
  return 0;
}
