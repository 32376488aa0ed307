#pragma once

#include <string>

namespace LedgoraCollect {

/// The processes as this run's first list of them had them. What a command is made of
/// was read then; its rights are read when it runs. A process that ended meanwhile may
/// have left its number to one of root's, and one that lives may have become a set-id
/// program: its command must not run with the rights of either.
class ListedProcesses {
 public:
  /// Called before a list is read: what starts later isn't one of it.
  static void begin();
  /// `path` is the target of the process's exe link, `uid` as ps prints it. What is
  /// known of a number stays.
  static void note(int pid, const std::string& uid, const std::string& path);
  /// Whether the number still is the listed process with the listed program; true for
  /// one that was never listed. `environment` is the run's root.
  static bool isStill(int pid, const std::string& environment);
  /// Whether the process was listed with another user than root.
  static bool isUnprivileged(int pid);
};

}  // namespace LedgoraCollect
