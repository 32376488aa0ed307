#pragma once

#include <string>
#include <string_view>

namespace LedgoraCollect {

/// `text` as it may stand within one line of a log: control characters (C0,
/// DEL, C1), the Unicode line and paragraph separators and bytes that aren't
/// valid UTF-8 become escapes such as `\n` and `\x9b`.
std::string escapeLogText(std::string_view text);

/// One record with its line end: local time with milliseconds and offset,
/// level letter, pid, "function:line", message.
std::string formatLogRecord(int level, const char* function, int line, std::string_view message);

}  // namespace LedgoraCollect
