#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace LedgoraCollect {

/// One process of the table. Paths are as the process itself names them.
class ProcessCacheUnit {
 public:
  using Env = std::map<std::string, std::string>;

  int getMProcessPid() const { return processPid; }
  void setProcessPid(int value) { processPid = value; }
  /// `comm`, or the last component of the path where `comm` may be cut.
  const std::string& getMProcessName() const { return processName; }
  void setProcessName(const std::string& value) { processName = value; }
  /// One state letter, as ps prints it.
  const std::string& getMProcessStatus() const { return processStatus; }
  void setProcessStatus(const std::string& value) { processStatus = value; }
  /// Percent, as ps prints it.
  const std::string& getMProcessCpuUsage() const { return processCpuUsage; }
  void setProcessCpuUsage(const std::string& value) { processCpuUsage = value; }
  const std::string& getMUserName() const { return userName; }
  void setUserName(const std::string& value) { userName = value; }
  const std::string& getMUserUid() const { return userUid; }
  void setUserUid(const std::string& value) { userUid = value; }
  const std::string& getMGroupName() const { return groupName; }
  void setGroupName(const std::string& value) { groupName = value; }
  int getMParentPid() const { return parentPid; }
  void setParentPid(int value) { parentPid = value; }
  const std::string& getMProcessTty() const { return processTty; }
  void setProcessTty(const std::string& value) { processTty = value; }
  /// Seconds since the epoch.
  std::uint64_t getMProcessStartTime() const { return processStartTime; }
  void setProcessStartTime(std::uint64_t value) { processStartTime = value; }
  /// The executable; empty when it isn't found in the process's root.
  const std::string& getMProcessPath() const { return processPath; }
  void setProcessPath(const std::string& value) { processPath = value; }
  /// Arguments joined by blanks.
  const std::string& getMProcessCmdline() const { return processCmdline; }
  void setProcessCmdline(const std::string& value) { processCmdline = value; }
  const Env& getMProcessEnv() const { return processEnv; }
  void setProcessEnv(Env value) { processEnv = std::move(value); }
  /// Gives the variables away.
  Env releaseProcessEnv() { return std::move(processEnv); }
  /// Resident memory as digits followed by "kB".
  const std::string& getMProcessMemoryUsage() const { return processMemoryUsage; }
  void setProcessMemoryUsage(const std::string& value) { processMemoryUsage = value; }
  /// MD5 identity that survives a restart; empty without path or command line.
  const std::string& getMProcessKey() const { return processKey; }
  void setProcessKey(const std::string& value) { processKey = value; }
  /// The command line without its first word.
  const std::string& getMProcessStarArgs() const { return processStarArgs; }
  void setProcessStarArgs(const std::string& value) { processStarArgs = value; }
  /// Root of the process's file system: environment joined with containerPath.
  const std::string& getMProcessBasePath() const { return processBasePath; }
  void setProcessBasePath(const std::string& value) { processBasePath = value; }
  /// The file that stands for the software: executable, script or archive.
  const std::string& getMKeyFilePath() const { return keyFilePath; }
  void setKeyFilePath(const std::string& value) { keyFilePath = value; }
  /// False when keyFilePath had to fall back to processPath.
  bool getMKeyFilePathFlag() const { return keyFilePathFlag; }
  void setKeyFilePathFlag(bool value) { keyFilePathFlag = value; }
  /// 64 characters, empty on the host.
  const std::string& getMContainerId() const { return containerId; }
  void setContainerId(const std::string& value) { containerId = value; }
  /// "/proc/%d/root", empty on the host.
  const std::string& getMContainerPath() const { return containerPath; }
  void setContainerPath(const std::string& value) { containerPath = value; }
  /// "docker" or "containerd", empty on the host.
  const std::string& getMContainerType() const { return containerType; }
  void setContainerType(const std::string& value) { containerType = value; }
  /// "python", "perl", "bash", "java" or "linux".
  const std::string& getMInterpreterLanguage() const { return interpreterLanguage; }
  void setInterpreterLanguage(const std::string& value) { interpreterLanguage = value; }
  const std::string& getMInterpreterPath() const { return interpreterPath; }
  void setInterpreterPath(const std::string& value) { interpreterPath = value; }

 private:
  int processPid = 0;
  std::string processName;
  std::string processStatus;
  std::string processCpuUsage;
  std::string userName;
  std::string userUid;
  std::string groupName;
  int parentPid = 0;
  std::string processTty;
  std::uint64_t processStartTime = 0;
  std::string processPath;
  std::string processCmdline;
  Env processEnv;
  std::string processMemoryUsage;
  std::string processKey;
  std::string processStarArgs;
  std::string processBasePath;
  std::string keyFilePath;
  bool keyFilePathFlag = true;
  std::string containerId;
  std::string containerPath;
  std::string containerType;
  std::string interpreterLanguage;
  std::string interpreterPath;
};

}  // namespace LedgoraCollect
