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

// Neither is anchored, so a continuation line that holds a word, a colon and a
// blank counts as a field, and "Conffiles:" with nothing behind it doesn't.
constexpr const char* kKeyPattern = "(\\S+):\\s+";
constexpr const char* kValuePattern = "\\S+:\\s+(\\S+)";

/// Continuation lines of one field beyond this many are dropped.
constexpr int kFieldLines = 20;
/// Lines of this length or more are dropped.
constexpr std::size_t kLineBytes = 4096;

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

std::string keyOf(const std::string& line) { return getDpkgField(line.c_str(), kKeyPattern); }

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

bool DpkgStanza::begins(const std::string& line) { return keyOf(line) == "Package"; }

void DpkgStanza::finish(S_DPKG_STATUS_PARAM& pass) { appendText(kMarker, pass); }

void DpkgStanza::restart(S_DPKG_STATUS_PARAM& pass) {
  std::memset(pass.section, 0, sizeof(pass.section));
  pass.length = 0;
  pass.fieldLines = 0;
}

void DpkgStanza::append(const std::string& line, S_DPKG_STATUS_PARAM& pass) {
  const std::string key = keyOf(line);
  if (!key.empty()) {
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
  if (key == "Description" && !getDpkgField(line.c_str(), kValuePattern).empty()) {
    appendText(kMarker, pass);
  }
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
