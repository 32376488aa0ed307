// Heads of Python metadata files. Values stand in the text without blanks around
// them, and a value that is there stays.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "collect/python/MetadataLine.h"
#include "collect/support/TextLines.h"

namespace {

void check(std::string_view line, const std::string& before, const std::string& now) {
  if (!before.empty() && now != before) std::abort();
  if (now == before) return;
  if (line.find(now) == std::string_view::npos) std::abort();
  constexpr std::string_view kBlanks = " \r\n\t";
  if (kBlanks.find(now.front()) != std::string_view::npos) std::abort();
  if (kBlanks.find(now.back()) != std::string_view::npos) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace LedgoraCollect;
  PythonMetadata_S metadata;
  forEachBufferLine(std::string_view(reinterpret_cast<const char*>(data), size),
                    [&metadata](std::string_view line) {
                      const PythonMetadata_S before = metadata;
                      takeMetadataLine(line, metadata);
                      check(line, before.name, metadata.name);
                      check(line, before.version, metadata.version);
                      return true;
                    });
  return 0;
}
