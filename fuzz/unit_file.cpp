// Unit files of services: the ini text and the command in it.
#include <cstddef>
#include <cstdint>
#include <string>

#include "common/support/IniFile.h"
#include "hostmodel/SystemctlFileCollectionUnit.h"

using namespace LedgoraCollect;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  IniFile ini(text);
  const char* start = ini.get("Service", "ExecStart");
  ServiceCacheUnit unit;
  if (SystemctlFileCollectionUnit::getServicePath(start ? start : text, unit)) {
    const std::string& path = unit.getMExecFilePath();
    if (path.front() != '/' || path.back() == ';' ||
        !SystemctlFileCollectionUnit::checkServicePath(path)) {
      __builtin_trap();
    }
  }
  std::string name;
  SystemctlFileCollectionUnit::parseUnitName(text.substr(0, text.find('\n')), name);
  return 0;
}
