// What "rpm -qa" prints.
#include <cstdint>
#include <cstdlib>

#include "package/RpmCmdCollectionUnit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<LedgoraCollect::SoftwarePkgCacheUnit> list;
  LedgoraCollect::RpmCmdCollectionUnit::parseQAResult(
      std::string(reinterpret_cast<const char*>(data), size), list);
  for (const auto& unit : list) {
    if (unit.getPackageName().empty() && unit.getPackageVersion().empty()) std::abort();
    if (unit.getPackageDescription().find_first_of("\n\t") != std::string::npos) std::abort();
  }
  return 0;
}
