#include "common/CommandWord.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

using namespace std::string_view_literals;

/// What ends, joins, redirects, substitutes, quotes or expands.
constexpr std::string_view kNeverUnquoted = ";&|<>$`\\\"'(){}*?[\n\r\0"sv;
constexpr std::string_view kNeverSingleQuoted = "'\n\r\0"sv;
/// What makes an option, a comment or somebody's home of a word's beginning.
constexpr std::string_view kNeverWordBegin = "-#~"sv;

/// "NAME=..." as a first word sets a variable instead of naming a program.
bool isAssignment(std::string_view value) {
  const std::size_t equals = value.find('=');
  if (equals == std::string_view::npos || equals == 0) return false;
  if (std::isdigit(static_cast<unsigned char>(value.front())) != 0) return false;
  return std::all_of(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(equals),
                     [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; });
}

bool hasSpecialWord(std::string_view value) {
  char before = ' ';
  for (const char c : value) {
    const bool begins = before == ' ' || before == '\t';
    if (begins && kNeverWordBegin.find(c) != std::string_view::npos) return true;
    before = c;
  }
  return false;
}

bool isPlainWords(std::string_view value) {
  return value.find_first_of(kNeverUnquoted) == std::string_view::npos && !hasSpecialWord(value) &&
         !isAssignment(value.substr(std::min(value.find_first_not_of(" \t"), value.size())));
}

}  // namespace

bool mayEnterCommandLine(std::string_view value, CommandPlace place) {
  if (place == CommandPlace::Unquoted) return isPlainWords(value);
  return value.find_first_of(kNeverSingleQuoted) == std::string_view::npos;
}

bool acceptCommandWord(std::string_view value, CommandPlace place, const char* function) {
  if (mayEnterCommandLine(value, place)) return true;
  error_output(1, function, __LINE__, "Not put into a command line, which isn't run: %s",
               std::string(value).c_str());
  return false;
}

}  // namespace LedgoraCollect
