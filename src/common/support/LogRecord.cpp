#include "common/support/LogRecord.h"

#include <unistd.h>

#include <algorithm>
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

/// The second of a record as text, and the offset from UTC.
struct SecondText {
  time_t second = 0;
  char day[64] = "";
  char offset[16] = "";
};

bool makeSecondText(time_t second, SecondText& text) {
  tm parts{};
  if (localtime_r(&second, &parts) == nullptr) return false;
  if (std::strftime(text.day, sizeof text.day, "%Y-%m-%dT%H:%M:%S", &parts) == 0) return false;
  if (std::strftime(text.offset, sizeof text.offset, "%z", &parts) == 0) text.offset[0] = '\0';
  text.second = second;
  return true;
}

// A run writes hundreds of records in a second, so the last one's text is kept.
void appendLocalTime(std::string& record) {
  static SecondText text;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if ((text.day[0] == '\0' || text.second != now.tv_sec) && !makeSecondText(now.tv_sec, text)) {
    record += '-';
    return;
  }
  const auto milliseconds = static_cast<unsigned>(now.tv_nsec / 1000000);
  const auto digit = [](unsigned value) { return static_cast<char>('0' + value % 10); };
  record.append(text.day) += '.';
  record += digit(milliseconds / 100);
  record += digit(milliseconds / 10);
  record += digit(milliseconds);
  record += text.offset;
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

bool isPlainAscii(char byte) { return byte >= 0x20 && byte < 0x7F; }

void appendEscaped(std::string& out, std::string_view text) {
  while (!text.empty()) {
    const auto plainEnd = std::find_if_not(text.begin(), text.end(), isPlainAscii);
    const auto plain = static_cast<std::size_t>(plainEnd - text.begin());
    out.append(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.empty()) break;
    const std::size_t valid = utf8SequenceLength(text);
    const std::string_view piece = text.substr(0, valid == 0 ? 1 : valid);
    if (valid != 0 && !isControl(piece)) {
      out += piece;
    } else {
      for (const char byte : piece) appendByteEscape(out, byte);
    }
    text.remove_prefix(piece.size());
  }
}

}  // namespace

std::string escapeLogText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  appendEscaped(out, text);
  return out;
}

std::string formatLogRecord(int level, const char* function, int line, std::string_view message) {
  std::string record;
  record.reserve(96 + message.size());
  appendLocalTime(record);
  record += ' ';
  record += levelLetter(level);
  record += ' ';
  record += std::to_string(::getpid());
  record += ' ';
  appendEscaped(record, function == nullptr ? "-" : function);
  record += ':';
  record += std::to_string(line);
  record += ' ';
  appendEscaped(record, message);
  record += '\n';
  return record;
}

}  // namespace LedgoraCollect
