#pragma once

#include <cstdint>
#include <string>

namespace LedgoraCollect {

/// One service as the document lists it.
struct SERVER_INFO_S {
  std::string serverName;
  std::string serverStatus;  // "RUN" or "STOP"
  std::string startUser;
  std::string startType;       // nothing fills it
  std::int64_t startTime = 0;  // seconds since the epoch, 0 when not running
  std::string execFilePath;
  std::string serverDesc;
};

}  // namespace LedgoraCollect
