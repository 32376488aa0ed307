#include "common/support/IniFile.h"

#include <cerrno>
#include <cstring>

#include "common/support/Log.h"
#include "common/support/PlainFile.h"

namespace LedgoraCollect {
namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view trimBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Takes the next physical line off `text`, without its end ("\n" or "\r\n").
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

bool isComment(std::string_view trimmed) {
  return !trimmed.empty() && (trimmed[0] == '#' || trimmed[0] == ';');
}

bool goesOn(std::string_view line) { return !line.empty() && line.back() == '\\'; }

/// Takes the next line with those it goes on in. Comments are passed over,
/// also between the pieces of one line. A line of one piece costs no copy:
/// `joined` is used only for several.
std::string_view takeLogicalLine(std::string_view& text, std::string& joined) {
  joined.clear();
  while (!text.empty()) {
    const std::string_view line = takeLine(text);
    if (isComment(trimBlanks(line))) continue;
    if (!goesOn(line)) {
      if (joined.empty()) return trimBlanks(line);
      joined += trimBlanks(line);
      break;
    }
    joined += trimBlanks(line.substr(0, line.size() - 1));
    joined += ' ';
  }
  return trimBlanks(joined);
}

bool isSectionHead(std::string_view line) {
  return line.size() >= 2 && line.front() == '[' && line.back() == ']';
}

}  // namespace

bool findIniValue(std::string_view text, std::string_view section, std::string_view key,
                  std::string& value) {
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    text.remove_prefix(kByteOrderMark.size());
  }
  bool inSection = section.empty();
  bool found = false;
  std::string joined;
  while (!text.empty()) {
    const std::string_view line = takeLogicalLine(text, joined);
    if (isSectionHead(line)) {
      inSection = line.substr(1, line.size() - 2) == section;
      continue;
    }
    const std::size_t equals = line.find('=');
    if (!inSection || equals == std::string_view::npos) continue;
    if (trimBlanks(line.substr(0, equals)) != key) continue;
    const std::string_view assigned = trimBlanks(line.substr(equals + 1));
    if (!assigned.empty() && !found) value = assigned;
    found = !assigned.empty();
  }
  return found;
}

const char* IniFile::get(std::string_view section, std::string_view key) {
  std::pair<std::string, std::string> name(section, key);
  const auto known = mFound.find(name);
  if (known != mFound.end()) return known->second.c_str();
  std::string value;
  if (!findIniValue(mText, section, key, value)) return nullptr;
  return mFound.emplace(std::move(name), std::move(value)).first->second.c_str();
}

void* ini_file_load(const char* path) {
  std::string text;
  switch (readRegularFile(path, kIniFileBytes, text)) {
    case FileRead::Whole:
      return new IniFile(std::move(text));
    case FileRead::TooLarge:
      error_output(1, __func__, __LINE__, "ini file %s is over %zu bytes", path, kIniFileBytes);
      return nullptr;
    case FileRead::Failed:
      error_output(1, __func__, __LINE__, "ini file %s can't be read: %s", path,
                   std::strerror(errno));
      return nullptr;
    case FileRead::Missing:
      break;
  }
  return nullptr;
}

const char* ini_file_get(void* handle, const char* section, const char* key) {
  return handle == nullptr ? nullptr : static_cast<IniFile*>(handle)->get(section, key);
}

void ini_file_free(void* handle) { delete static_cast<IniFile*>(handle); }

}  // namespace LedgoraCollect
