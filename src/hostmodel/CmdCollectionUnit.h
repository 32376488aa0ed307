#pragma once

#include <string>
#include <vector>

#include "hostmodel/CollectionBase.h"

namespace LedgoraCollect {

/// Command questions to the inspected root. A command that is missing,
/// forbidden by the filter, refused or failed is one thing to callers: false,
/// or no output. Timeouts and wait steps are whole seconds.
class CmdCollectionUnit : public CollectionBase {
 public:
  /// Runs the line in the inspected root: under "chroot %s " when environment
  /// or target is set, on the host otherwise. Output goes into the buffer,
  /// terminated, at most `size` bytes. `pathValue` is the PATH that the line
  /// gets; null or empty means the default one (initHostPathEnv).
  bool executeCmd(const std::string& command, char* buffer, int size, int timeout, int waitStep,
                  const char* pathValue) const;
  /// The same with a timeout of 30, a wait step of 5 and the default PATH.
  bool executeCmd(const std::string& command, char* buffer, int size) const;
  /// The form that gives lines without their ends; no lines means false.
  bool executeCmd(const std::string& command, std::vector<std::string>& lines, int timeout,
                  int waitStep, const char* pathValue) const;

  /// The same on the host, whatever the root: never a chroot in front.
  bool executeHostCmd(const std::string& command, char* buffer, int size, int timeout, int waitStep,
                      const char* pathValue) const;
  bool executeHostCmd(const std::string& command, std::vector<std::string>& lines, int timeout,
                      int waitStep, const char* pathValue) const;

  /// For a line that runs or parametrises a program of process `pid` (its pid
  /// as the inspected machine numbers it): as executeCmd, but never with more
  /// rights than that process has. Where its rights can't be told, false.
  bool executeCmdAsProcess(int pid, const std::string& command, char* buffer, int size, int timeout,
                           int waitStep, const char* pathValue) const;

  /// "PATH=..." as EnvCmdCollectionUnit::collectDefaultPathEnv gives it.
  std::string initHostPathEnv() const;

 private:
  std::string commandRoot() const;
};

}  // namespace LedgoraCollect
