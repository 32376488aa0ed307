#include "collect/users/LoginDate.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "common/StringUtils.h"

namespace LedgoraCollect {

namespace {

constexpr std::array kMonths{"Jan", "Feb", "Mar",  "Apr", "May", "Jun",
                             "Jul", "Aug", "Sept", "Oct", "Nov", "Dec"};

/// Seconds east of Greenwich of an offset such as "+0530"; false for another text.
bool offsetSeconds(const std::string& text, long& seconds) {
  char sign[2] = {};
  int hours = 0;
  int minutes = 0;
  int used = 0;
  if (std::sscanf(text.c_str(), "%1[+-]%2d%2d%n", sign, &hours, &minutes, &used) != 3) return false;
  if (static_cast<std::size_t>(used) != text.size()) return false;
  seconds = (hours * 60L + minutes) * 60L * (*sign == '-' ? -1 : 1);
  return true;
}

}  // namespace

int convertMonthNum(const std::string& month) {
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    if (month == kMonths[i]) return static_cast<int>(i) + 1;
  }
  return 0;
}

long long getLastLogTime(const std::string& date) {
  const std::vector<std::string> words = StringUtils::split(date, " ", true);
  if (words.size() != 5 && words.size() != 6) return -1;
  std::tm time{};
  time.tm_mon = convertMonthNum(words[1]) - 1;
  if (time.tm_mon < 0) return -1;
  if (std::sscanf(words[2].c_str(), "%2d", &time.tm_mday) != 1) return -1;
  if (std::sscanf(words[3].c_str(), "%2d:%2d:%2d", &time.tm_hour, &time.tm_min, &time.tm_sec) !=
      3) {
    return -1;
  }
  if (std::sscanf(words.back().c_str(), "%4d", &time.tm_year) != 1) return -1;
  time.tm_year -= 1900;
  time.tm_isdst = -1;
  if (words.size() == 5) return std::mktime(&time);
  long offset = 0;
  if (!offsetSeconds(words[4], offset)) return -1;
  return ::timegm(&time) - offset;
}

}  // namespace LedgoraCollect
