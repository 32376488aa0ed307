#pragma once

#include <string>

#include "package/DpkgRecords.h"

namespace LedgoraCollect {

/// The first capture of `pattern` in `text`; empty if there is no match.
std::string getDpkgField(const char* text, const char* pattern);

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
