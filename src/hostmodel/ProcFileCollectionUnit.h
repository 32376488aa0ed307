#pragma once

#include <map>
#include <string>

#include "hostmodel/ContainerInfo.h"
#include "hostmodel/FileCollectionUnit.h"

namespace LedgoraCollect {

/// What the proc file system of the inspected machine tells of one process.
class ProcFileCollectionUnit : public FileCollectionUnit {
 public:
  /// Target of "/proc/%d/exe"; empty when it can't be read.
  std::string getProcessPath(int pid) const;
  /// "/proc/%d/cmdline", arguments joined by blanks, trimmed.
  std::string getProcessCmdline(int pid) const;
  /// Resident memory as the line "VmRSS:" of "/proc/%d/status" has it, such as
  /// "1024kB"; "0kB" if unknown.
  std::string getProcessMemory(int pid) const;
  /// "/proc/%d/environ" as names and values; the first of a name wins.
  std::map<std::string, std::string> getProcessEnv(int pid) const;
  /// The container of a process, from its control groups. False: a host process.
  bool getContainerInfo(int pid, ContainerInfo& info) const;

  /// The path of a container's process as the container names it. The link in
  /// /proc names it so by itself, except in a container that is a mere chroot:
  /// there the directory of its root stands in front.
  std::string getContainerProcessPath(int pid, const std::string& path) const;

  /// Id and type from the line of a cgroup file; false when it names no container.
  static bool paramContainerInfo(const std::string& line, ContainerInfo& info);
  /// Id and type from the last component of a control group's path.
  static bool checkContainerType(const std::string& text, ContainerInfo& info);
  /// The text of an environ file, its zero bytes replaced by ";".
  static std::map<std::string, std::string> parseEnviron(const std::string& text);
  /// Digits and "kB" from a "VmRSS:" line, "0kB" when it holds no digits.
  static std::string parseMemoryLine(const std::string& line);

 private:
  bool readResidentPages(int pid, std::string& memory) const;
};

}  // namespace LedgoraCollect
