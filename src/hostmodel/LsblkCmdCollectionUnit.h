#pragma once

#include <optional>
#include <string>

#include "hostmodel/CmdCollectionUnit.h"

namespace LedgoraCollect {

/// Asks lsblk of the inspected root about its disks. Where lsblk lies is found
/// out once for a unit. After an lsblk that had to be stopped at its limit it
/// isn't asked again: the next disk would hang the run for as long.
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
  bool excuteDiskInfo(const std::string& commandLine, std::string& out);

 private:
  struct Place {
    bool found = false;
    std::string pathValue;  // the PATH under which it was found; empty: the default one
  };
  Place findLsblk() const;
  bool runLsblk(const std::string& commandLine, char* buffer, int size) const;

  std::optional<Place> mPlace;
  bool mStopped = false;
};

}  // namespace LedgoraCollect
