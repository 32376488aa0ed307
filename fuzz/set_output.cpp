#include <cstdlib>

#include "common/StringUtils.h"
#include "hostmodel/EnvCmdCollectionUnit.h"

// What a shell of an inspected root prints for "set".
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::map<std::string, std::string> variables;
  LedgoraCollect::EnvCmdCollectionUnit::parseSetLines(
      LedgoraCollect::StringUtils::split(text, "\n", true), variables);
  for (const auto& [name, value] : variables) {
    if (name.empty() || value.empty()) std::abort();
  }
  return 0;
}
