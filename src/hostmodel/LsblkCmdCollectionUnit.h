#pragma once

#include <string>

#include "hostmodel/CmdCollectionUnit.h"

namespace LedgoraCollect {

/// Asks lsblk of the inspected root about one disk.
class LsblkCmdCollectionUnit : public CmdCollectionUnit {
 public:
  /// The question for the model of a device such as "sda". Empty for a name
  /// that can't stand in a command line as one word.
  static std::string modelCommand(const std::string& device);
  /// The question for its serial number.
  static std::string serialCommand(const std::string& device);

  /// Runs the line where there is an lsblk. True when it answered with more
  /// than a line end; `out` is then the answer, its line end included and at
  /// most 255 bytes of it. In a root the PATH of that root's shell is used.
  bool excuteDiskInfo(const std::string& commandLine, std::string& out) const;

 private:
  bool runInRoot(const std::string& commandLine, char* buffer, int size) const;
  bool runOnHost(const std::string& commandLine, char* buffer, int size) const;
};

}  // namespace LedgoraCollect
