#pragma once

#include <string_view>

namespace LedgoraCollect {

/// Calls `take` with each line of `text`, without its line feed, until it
/// returns false. A last line without a line feed counts; an empty rest behind
/// the last line feed doesn't. Returns false if `take` ended the walk.
template <class Take>
bool forEachLine(std::string_view text, Take take) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (!take(text.substr(0, end))) return false;
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return true;
}

/// Lines of some files are read into a buffer of this size.
constexpr std::size_t kLineBufferBytes = 4096;

/// As forEachLine, for files whose lines are read into such a buffer: a line of
/// 4,096 bytes or more ends the walk unseen, and a line ends at its first zero
/// byte.
template <class Take>
void forEachBufferLine(std::string_view text, Take take) {
  forEachLine(text, [&take](std::string_view line) {
    return line.size() < kLineBufferBytes && take(line.substr(0, line.find('\0')));
  });
}

}  // namespace LedgoraCollect
