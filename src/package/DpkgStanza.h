#pragma once

#include <string>
#include <string_view>

#include "package/DpkgRecords.h"

namespace LedgoraCollect {

/// The first capture of `pattern` in `text`; empty if there is no match.
std::string getDpkgField(const char* text, const char* pattern);

/// The field that a line of the status file begins: what "(\S+):\s+" and
/// "\S+:\s+(\S+)" capture, found without the engine, because a status file has
/// a hundred thousand lines. Neither is anchored, so a continuation line that
/// holds a word, a colon and a blank counts as a field, and "Conffiles:" with
/// nothing behind it doesn't.
struct DpkgLineField {
  std::string_view key;    ///< empty: the line begins no field
  std::string_view value;  ///< the first word behind it
};
DpkgLineField dpkgLineField(std::string_view line);

/// What dpkg's status file says, understood without touching any file.
class DpkgStanza {
 public:
  enum class Result {
    Complete,  ///< the stanza's fields are in the record
    Removed,   ///< the package isn't installed any more
    Nameless,  ///< no package: the marker in front of the first stanza
  };

  /// Whether `line` begins a stanza, which means that the one assembled so far
  /// is finished. To be asked before `append`.
  static bool begins(const std::string& line);
  /// Marks the end of the stanza assembled so far.
  static void finish(S_DPKG_STATUS_PARAM& pass);
  /// Empties the stanza for the next one.
  static void restart(S_DPKG_STATUS_PARAM& pass);
  /// Adds one line of the stanza (not empty, without its end).
  static void append(const std::string& line, S_DPKG_STATUS_PARAM& pass);
  /// Reads name, status, architecture, description, version, size and
  /// configuration files from an assembled stanza.
  static Result parse(const char* section, DPKG_PKG_INFO& package);
};

}  // namespace LedgoraCollect
