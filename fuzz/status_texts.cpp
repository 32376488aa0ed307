// Mount tables and the proc files of the system status.
#include <cstddef>
#include <cstdint>
#include <string>

#include "collect/status/MountTable.h"
#include "collect/status/ProcFigures.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace LedgoraCollect;
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const _DISK_PATION_INFO_& mount : parseMountTable(text)) {
    isNfs(mount);
    isBinfmtMisc(mount);
  }
  parseCpuInfo(text);
  parseMemInfo(text);
  parseLoadAverage(text);
  const std::size_t half = size / 2;
  calCpuUse(parseCpuTimes(text.substr(0, half)), parseCpuTimes(text.substr(half)));
  return 0;
}
