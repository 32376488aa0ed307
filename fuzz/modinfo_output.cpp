// What lsmod and modinfo print.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "collect/kernel/ModinfoOutput.h"
#include "collect/support/TextLines.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace LedgoraCollect;
  std::vector<std::string> lines;
  forEachLine(std::string_view(reinterpret_cast<const char*>(data), size),
              [&lines](std::string_view line) {
                lines.emplace_back(line);
                return true;
              });
  KERNEL_MODULE_INFO_S module = parseLsmodLine(lines.empty() ? "" : lines.front());
  if (module.holderCount != static_cast<int>(module.holders.size())) std::abort();
  parseModinfo(lines, module);
  if (module.parameters.size() > lines.size()) std::abort();
  if (module.dependencyCount != static_cast<int>(module.dependencies.size())) std::abort();
  return 0;
}
