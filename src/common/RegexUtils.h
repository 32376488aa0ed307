#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

// Wrappers over PCRE2, compiled without options. An expression that doesn't compile, and a
// text on which an expression exceeds its limits (a fraction of a second of processor time,
// 64 MiB), count as not matched, without a message.

/// True if the expression matches somewhere in `text`.
bool regex_match(std::string& text, const std::string& expression);

/// Appends, for each match in turn, the whole match and then its non-empty groups. Unset and
/// empty groups leave no slot. False if `text` or `expression` is empty or the expression
/// doesn't compile; otherwise true, however many matches there were.
bool regexInterfaceGetAll(std::string& text, std::vector<std::string>& results,
                          const std::string& expression);

/// Sets `result` to the second value that regexInterfaceGetAll finds, or to the only one:
/// the first group of the first match, or the match if the expression has no group. (Without
/// a group a text with two matches gives the second match; rules rely on that.) Returns false
/// and leaves `result` if there is none.
bool regex_interface(std::string& text, std::string& result, const std::string& expression);

/// regex_interface on a file's first 20 MiB, up to the first zero byte. False also if the
/// file can't be read, which is logged. The file is opened inside its inspected root.
bool regexMatchFileContent(std::string& path, std::string& expression, std::string& result);

/// The value of the first file in which the expression finds one, or empty.
std::string findFileValueByRegex(std::vector<std::string>& paths, const char* expression);

}  // namespace LedgoraCollect
