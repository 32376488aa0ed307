// Bytes of lastlog and wtmp.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "collect/status/ShutdownRecord.h"
#include "collect/users/LastLog.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace LedgoraCollect;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (const LastLogRecord_S& record : parseLastLog(bytes)) {
    if (record.uid >= kLastLogRecordsRead || record.terminal.size() > 32) std::abort();
    if (record.host.size() > 256) std::abort();
    int type = 0;
    checkLoginType(record.terminal, type);
    if (type < 3 || type > 6) std::abort();
  }
  const ShutdownRecord_S shutdown = findShutdown(bytes);
  if (shutdown.found && shutdown.dataEnded) std::abort();
  return 0;
}
