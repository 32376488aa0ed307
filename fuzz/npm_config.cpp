// Lines of npm configuration files. A path that is found is neither empty nor
// longer than its line, and without a comment it stands in the line as it is.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "collect/npm/NpmConfigLine.h"
#include "collect/support/TextLines.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace LedgoraCollect;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  forEachBufferLine(text, [](std::string_view line) {
    NpmPrefix_S prefix;
    if (!parsePrefixLine(line, prefix)) return true;
    if (prefix.path.empty() || prefix.path.size() > line.size()) std::abort();
    const bool verbatim = line.find(prefix.path) != std::string_view::npos;
    if (!prefix.hasComment && !verbatim) std::abort();
    return true;
  });
  return 0;
}
