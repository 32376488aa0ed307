#include "collect/schedule/CronLine.h"

#include <algorithm>
#include <vector>

#include "common/StringUtils.h"

namespace LedgoraCollect {

namespace {

constexpr int kTimeFields = 5;
constexpr std::string_view kBlanks = " \t\n\v\f\r";  // what "\s" matches

std::size_t endOfWord(std::string_view line, std::size_t from) {
  return std::min(line.find_first_of(kBlanks, from), line.size());
}

std::size_t endOfBlanks(std::string_view line, std::size_t from) {
  return std::min(line.find_first_not_of(kBlanks, from), line.size());
}

bool isTimeCharacter(char c) {
  return (c >= '0' && c <= '9') || c == '*' || c == '/' || c == ',' || c == '-';
}

}  // namespace

bool cutCronLine(std::string_view line, bool withUser, CronFields_S& fields) {
  const std::size_t begin = endOfBlanks(line, 0);
  std::size_t end = begin;
  std::size_t next = begin;
  for (int i = 0; i < kTimeFields; ++i) {
    if (next == line.size()) return false;
    end = endOfWord(line, next);
    next = endOfBlanks(line, end);
  }
  fields.time = line.substr(begin, end - begin);
  fields.user = {};
  if (withUser) {
    const std::size_t userEnd = endOfWord(line, next);
    fields.user = line.substr(next, userEnd - next);
    next = endOfBlanks(line, userEnd);
  }
  fields.command = line.substr(next);
  return !fields.command.empty();
}

std::string_view withoutCronComment(std::string_view line) {
  return line.substr(0, line.find('#'));
}

bool isCronTime(const std::string& time) {
  std::string blanks = time;
  std::replace(blanks.begin(), blanks.end(), '\t', ' ');
  const std::vector<std::string> pieces = StringUtils::split(blanks, " ", false);
  // Two blanks in a row make an empty piece, which counts as a field and
  // passes, so that the day of the month may go unchecked behind them.
  if (pieces.size() < kTimeFields) return false;
  return std::all_of(pieces.begin(), pieces.begin() + 3, [](const std::string& piece) {
    return std::all_of(piece.begin(), piece.end(), isTimeCharacter);
  });
}

}  // namespace LedgoraCollect
