#include "collect/status/ShutdownRecord.h"

#include <utmp.h>

#include <cstring>

namespace LedgoraCollect {

static_assert(sizeof(utmp) == kLoginRecordBytes, "wtmp records are those of x86-64");

ShutdownRecord_S findShutdown(std::string_view bytes) {
  constexpr std::string_view kShutdownUser = "shutdown";
  ShutdownRecord_S result;
  for (; result.recordsRead < kLoginRecordsRead; bytes.remove_prefix(sizeof(utmp))) {
    if (bytes.size() < sizeof(utmp)) {
      result.dataEnded = true;
      return result;
    }
    ++result.recordsRead;
    utmp record;
    std::memcpy(&record, bytes.data(), sizeof(record));
    if (std::memcmp(record.ut_user, kShutdownUser.data(), kShutdownUser.size()) != 0) continue;
    result.found = true;
    result.seconds = record.ut_tv.tv_sec;
    return result;
  }
  return result;
}

}  // namespace LedgoraCollect
