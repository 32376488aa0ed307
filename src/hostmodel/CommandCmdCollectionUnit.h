#pragma once

#include <string>

#include "hostmodel/CmdCollectionUnit.h"

namespace LedgoraCollect {

/// Where a command lies in the inspected root.
class CommandCmdCollectionUnit : public CmdCollectionUnit {
 public:
  /// Bytes set aside for the answer. To be set by the user of the unit.
  int bufferSize = 0;

  /// The path at which the root's shell finds `command`; true when it does.
  /// `pathValue`: the PATH to search, null for the default one.
  bool collectCommandPath(const std::string& command, std::string& out, const char* pathValue);
  /// Asks the shell. True when it answered with something; `out` is the answer.
  bool executeV(const std::string& command, std::string& out, const char* pathValue);
  /// The answer without blanks and line ends around it.
  static void parseVResult(const std::string& result, std::string& out);
};

}  // namespace LedgoraCollect
