// Any bytes as an ini file. What is found is trimmed, holds no line end and,
// written as a file of one assignment, is found again.
#include <cstdlib>
#include <string>
#include <string_view>

#include "common/support/IniFile.h"

using LedgoraCollect::findIniValue;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const struct {
    const char *section, *key;
  } asked[] = {{"Service", "ExecStart"}, {"host_limit", "port"}, {"", "k"}};
  for (const auto& name : asked) {
    std::string value;
    if (!findIniValue(text, name.section, name.key, value)) continue;
    if (value.empty() || value.find('\n') != std::string::npos) std::abort();
    if (value.back() == '\\') continue;  // would go on in the next line
    std::string again;
    const std::string line = std::string(name.key) + "=" + value;
    if (!findIniValue("[" + std::string(name.section) + "]\n" + line, name.section, name.key,
                      again) ||
        again != value) {
      std::abort();
    }
  }
  return 0;
}
