#include "collect/users/LastLog.h"

#include <algorithm>
#include <cstring>

#include "common/StringUtils.h"

namespace LedgoraCollect {

namespace {

constexpr std::size_t kTimeBytes = 4;
constexpr std::size_t kTerminalBytes = 32;

constexpr struct {
  const char* part;
  int type;
} kTerminals[] = {{"tty", 3}, {"pty", 5}, {"pts", 4}};
constexpr int kOtherTerminal = 6;

/// A field that ends at its first zero byte or, when it is full, at its end.
std::string textField(std::string_view field) {
  return std::string(field.substr(0, field.find('\0')));
}

bool isAllZero(std::string_view record) {
  return record.find_first_not_of('\0') == std::string_view::npos;
}

}  // namespace

std::vector<LastLogRecord_S> parseLastLog(std::string_view bytes) {
  std::vector<LastLogRecord_S> records;
  const std::size_t count = std::min(bytes.size() / kLastLogRecordBytes, kLastLogRecordsRead);
  for (std::size_t uid = 0; uid < count; ++uid) {
    const std::string_view bytesOfOne =
        bytes.substr(uid * kLastLogRecordBytes, kLastLogRecordBytes);
    if (isAllZero(bytesOfOne)) continue;
    LastLogRecord_S record;
    record.uid = static_cast<unsigned int>(uid);
    std::memcpy(&record.seconds, bytesOfOne.data(), kTimeBytes);
    record.terminal = textField(bytesOfOne.substr(kTimeBytes, kTerminalBytes));
    record.host = textField(bytesOfOne.substr(kTimeBytes + kTerminalBytes));
    records.push_back(std::move(record));
  }
  return records;
}

void checkLoginType(const std::string& tty, int& type) {
  std::string name = tty;
  StringUtils::lower(name);
  type = kOtherTerminal;
  for (const auto& terminal : kTerminals) {
    if (name.find(terminal.part) == std::string::npos) continue;
    type = terminal.type;
    return;
  }
}

}  // namespace LedgoraCollect
