#pragma once

#include <string_view>

namespace LedgoraCollect {

/// At most so many records of wtmp are looked at, from the file's start.
constexpr int kLoginRecordsRead = 1000;
/// Bytes of one record (struct utmp on x86-64).
constexpr int kLoginRecordBytes = 384;

struct ShutdownRecord_S {
  bool found = false;
  int seconds = 0;         // since the epoch
  int recordsRead = 0;     // records looked at, the hit among them
  bool dataEnded = false;  // the data ended before a hit and before the bound
};

/// The first record in the bytes of a wtmp file whose user begins with
/// "shutdown". Half a record at the end counts as the end.
///
/// The file is read from its start, so this is the oldest shutdown that it
/// holds, and one behind the first thousand records isn't seen. Consumers of
/// the document have always been given that one.
ShutdownRecord_S findShutdown(std::string_view bytes);

}  // namespace LedgoraCollect
