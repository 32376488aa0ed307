#include "common/support/LogRecord.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "common/support/Utf8.h"

namespace LedgoraCollect {
namespace {

char levelLetter(int level) {
  constexpr char kLetters[] = {'E', 'W', 'I', 'D'};
  if (level < 0) return kLetters[0];
  return level > 3 ? kLetters[3] : kLetters[level];
}

std::string localTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  if (localtime_r(&now.tv_sec, &parts) == nullptr) return "-";
  char day[64];
  char offset[16];
  if (std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &parts) == 0) return "-";
  if (std::strftime(offset, sizeof offset, "%z", &parts) == 0) offset[0] = '\0';
  char text[128];
  std::snprintf(text, sizeof text, "%s.%03d%s", day, static_cast<int>(now.tv_nsec / 1000000),
                offset);
  return text;
}

void appendByteEscape(std::string& out, char byte) {
  switch (byte) {
    case '\n':
      out += "\\n";
      return;
    case '\r':
      out += "\\r";
      return;
    case '\t':
      out += "\\t";
      return;
    default:
      break;
  }
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\x%02x",
                static_cast<unsigned>(static_cast<unsigned char>(byte)));
  out += escape;
}

/// C0, DEL, C1 and the separators U+2028 and U+2029: what a terminal obeys or
/// a viewer takes for the end of a line.
bool isControl(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence[0]);
  if (sequence.size() == 1) return first < 0x20 || first == 0x7F;
  const auto second = static_cast<unsigned char>(sequence[1]);
  if (sequence.size() == 2) return first == 0xC2 && second < 0xA0;
  return sequence == "\xE2\x80\xA8" || sequence == "\xE2\x80\xA9";
}

}  // namespace

std::string escapeLogText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t valid = utf8SequenceLength(text);
    const std::string_view piece = text.substr(0, valid == 0 ? 1 : valid);
    if (valid != 0 && !isControl(piece)) {
      out += piece;
    } else {
      for (const char byte : piece) appendByteEscape(out, byte);
    }
    text.remove_prefix(piece.size());
  }
  return out;
}

std::string formatLogRecord(int level, const char* function, int line, std::string_view message) {
  std::string record = localTime();
  record += ' ';
  record += levelLetter(level);
  record += ' ' + std::to_string(::getpid()) + ' ';
  record += escapeLogText(function == nullptr ? "-" : function);
  record += ':' + std::to_string(line) + ' ';
  record += escapeLogText(message);
  record += '\n';
  return record;
}

}  // namespace LedgoraCollect
