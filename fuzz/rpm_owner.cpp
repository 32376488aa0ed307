// What "rpm -qf" prints.
#include <cstdint>
#include <cstdlib>

#include "package/RpmCmdCollectionUnit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  LedgoraCollect::SoftwarePkgCacheUnit unit;
  const bool understood = LedgoraCollect::RpmCmdCollectionUnit::parseQFResult(text, unit);
  if (understood != (unit.getPackageType() == "rpm")) std::abort();
  if (understood && text.find("###") == std::string::npos) std::abort();
  return 0;
}
