#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace LedgoraCollect {

/// Bytes of one lastlog record: a 4-byte time, a 32-byte terminal name, a
/// 256-byte host.
constexpr std::size_t kLastLogRecordBytes = 292;

/// The file is an array indexed by user id. So many records are read, empty
/// ones too, so that one huge user id costs no long walk through a sparse
/// file. Logins of user ids from 4097 up aren't seen; consumers know that.
constexpr std::size_t kLastLogRecordsRead = 4097;

/// One record that isn't all zero bytes.
struct LastLogRecord_S {
  unsigned int uid = 0;
  std::int32_t seconds = 0;  // since the epoch
  std::string terminal;
  std::string host;
};

/// The records in the leading bytes of a lastlog file, without the empty ones.
/// Half a record at the end isn't one.
std::vector<LastLogRecord_S> parseLastLog(std::string_view bytes);

/// How somebody came in, from the terminal's name: 3 for "tty", 5 for "pty",
/// 4 for "pts" in it, else 6. The name is compared in lower case.
void checkLoginType(const std::string& tty, int& type);

}  // namespace LedgoraCollect
