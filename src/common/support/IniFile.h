#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace LedgoraCollect {

/// Larger ini files are refused.
constexpr std::size_t kIniFileBytes = 8 * 1024 * 1024;

/// The value that `text`, an ini file, gives to `key` in `section`; false if
/// it gives none. Blanks around key and value are trimmed; lines that begin
/// with "#" or ";" are comments; a line ending in a backslash goes on in the
/// next, joined by a blank; sections and keys are case-sensitive; quotes stay.
/// Of a repeated key the first value stays; an empty assignment forgets what
/// stood before it.
bool findIniValue(std::string_view text, std::string_view section, std::string_view key,
                  std::string& value);

/// An ini file's text, searched when asked: a file full of keys costs no more
/// memory than its text.
class IniFile {
 public:
  explicit IniFile(std::string text) : mText(std::move(text)) {}

  /// The value, valid as long as this object; null if there is none.
  const char* get(std::string_view section, std::string_view key);

 private:
  std::string mText;
  std::map<std::pair<std::string, std::string>, std::string> mFound;
};

/// Reads the ini file at `path`: a regular file of at most 8 MiB. Null if it
/// can't be read or is larger (with a message). ini_file_free releases it.
void* ini_file_load(const char* path);

/// The value without the line's end, null when absent. Valid until
/// ini_file_free.
const char* ini_file_get(void* handle, const char* section, const char* key);

/// Releases what ini_file_load gave; null is ignored.
void ini_file_free(void* handle);

}  // namespace LedgoraCollect
