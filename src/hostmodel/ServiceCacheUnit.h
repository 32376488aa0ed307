#pragma once

#include <cstdint>
#include <string>

namespace LedgoraCollect {

/// One service that the inspected machine defines.
class ServiceCacheUnit {
 public:
  const std::string& getMServerName() const { return serverName; }
  void setServerName(const std::string& value) { serverName = value; }
  /// "RUN" or "STOP".
  const std::string& getMServerStatus() const { return serverStatus; }
  void setServerStatus(const std::string& value) { serverStatus = value; }
  const std::string& getMStartUser() const { return startUser; }
  void setStartUser(const std::string& value) { startUser = value; }
  /// Always empty: no source tells it.
  const std::string& getMStartType() const { return startType; }
  void setStartType(const std::string& value) { startType = value; }
  /// Seconds since the epoch; 0 when the service has no process.
  std::int64_t getMStartTime() const { return startTime; }
  void setStartTime(std::int64_t value) { startTime = value; }
  const std::string& getMExecFilePath() const { return execFilePath; }
  void setExecFilePath(const std::string& value) { execFilePath = value; }
  const std::string& getMServerDesc() const { return serverDesc; }
  void setServerDesc(const std::string& value) { serverDesc = value; }

  /// Sets the status from a process's state letter, in either case: "T" gives
  /// "STOP", any other single letter (also "D" and "Z") "RUN". A text of
  /// another length gives "STOP".
  void setServerStatusByProcess(const std::string& status);

 private:
  std::string serverName;
  std::string serverStatus = "STOP";
  std::string startUser;
  std::string startType;
  std::int64_t startTime = 0;
  std::string execFilePath;
  std::string serverDesc;
};

}  // namespace LedgoraCollect
