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

}  // namespace LedgoraCollect
