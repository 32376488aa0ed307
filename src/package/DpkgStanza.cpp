#include "package/DpkgStanza.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "common/RegexUtils.h"

namespace LedgoraCollect {
namespace {

// The marker ends a field of several lines: the expressions below take
// everything up to the next "#". A "#" inside a field ends its value early.
constexpr const char* kMarker = "#END#";

/// Continuation lines of one field beyond this many are dropped.
constexpr int kFieldLines = 20;
/// Lines of this length or more are dropped.
constexpr std::size_t kLineBytes = 4096;

/// What "\s" of the expressions matches.
constexpr std::string_view kBlanks = " \t\n\v\f\r";

constexpr struct {
  const char* pattern;
  std::string DPKG_PKG_INFO::*field;
} kFields[] = {
    {"Architecture:\\s+(\\S+)\\s+", &DPKG_PKG_INFO::architecture},
    {"Description:\\s+([^#]+)", &DPKG_PKG_INFO::description},
    {"Version:\\s+(\\S+)\\s+", &DPKG_PKG_INFO::version},
    {"Installed-Size:\\s+(\\S+)\\s+", &DPKG_PKG_INFO::installedSize},
};

void appendText(const char* text, S_DPKG_STATUS_PARAM& pass) {
  const int room = kDpkgSectionBytes - 1 - pass.length;
  std::strncat(pass.section, text, static_cast<std::size_t>(std::max(room, 0)));
  pass.length = static_cast<int>(std::strlen(pass.section));
}

/// The paths of a Conffiles field; its checksums have no slash.
std::vector<std::string> configFilesOf(std::string text) {
  std::vector<std::string> found;
  regexInterfaceGetAll(text, found, "(/\\S+)");
  // Each path is there twice, as the match and as its capture.
  const std::set<std::string> unique(found.begin(), found.end());
  return {unique.begin(), unique.end()};
}

}  // namespace

std::string getDpkgField(const char* text, const char* pattern) {
  std::string subject = text;
  std::string result;
  regex_interface(subject, result, pattern);
  return result;
}

DpkgLineField dpkgLineField(std::string_view line) {
  constexpr std::size_t none = std::string_view::npos;
  for (std::size_t begin = line.find_first_not_of(kBlanks); begin != none;) {
    const std::size_t end = line.find_first_of(kBlanks, begin);
    if (end == none) break;
    const std::string_view word = line.substr(begin, end - begin);
    begin = line.find_first_not_of(kBlanks, end);
    if (word.size() < 2 || word.back() != ':') continue;
    const std::string_view key = word.substr(0, word.size() - 1);
    if (begin == none) return {key, {}};
    return {key, line.substr(begin, line.find_first_of(kBlanks, begin) - begin)};
  }
  return {};
}

bool DpkgStanza::begins(const std::string& line) { return dpkgLineField(line).key == "Package"; }

void DpkgStanza::finish(S_DPKG_STATUS_PARAM& pass) { appendText(kMarker, pass); }

void DpkgStanza::restart(S_DPKG_STATUS_PARAM& pass) {
  std::memset(pass.section, 0, sizeof(pass.section));
  pass.length = 0;
  pass.fieldLines = 0;
}

void DpkgStanza::append(const std::string& line, S_DPKG_STATUS_PARAM& pass) {
  const DpkgLineField field = dpkgLineField(line);
  if (!field.key.empty()) {
    appendText(kMarker, pass);
    pass.fieldLines = 0;
  } else if (pass.fieldLines >= kFieldLines) {
    return;
  }
  if (line.size() < kLineBytes) {
    appendText(line.c_str(), pass);
    appendText(" ", pass);
    ++pass.fieldLines;
  }
  // The rest of a description goes into the stanza, but behind the marker: only
  // its first line is reported.
  if (field.key == "Description" && !field.value.empty()) appendText(kMarker, pass);
}

DpkgStanza::Result DpkgStanza::parse(const char* section, DPKG_PKG_INFO& package) {
  package.name = getDpkgField(section, "Package:\\s+(\\S+)\\s+");
  if (package.name.empty()) return Result::Nameless;
  package.status = getDpkgField(section, "Status:\\s+([^#]+)");
  // dpkg writes three words, and the value keeps a blank behind them, so the
  // first test hardly ever holds. Consumers know the outcome of just these two:
  // packages that were never unpacked are reported.
  if (package.status == "not-installed" || package.status.find("deinstall") != std::string::npos) {
    return Result::Removed;
  }
  for (const auto& each : kFields) package.*each.field = getDpkgField(section, each.pattern);
  package.configFiles = configFilesOf(getDpkgField(section, "Conffiles:\\s+([^#]+)"));
  return Result::Complete;
}

}  // namespace LedgoraCollect
