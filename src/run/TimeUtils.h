#pragma once

#include <string>

namespace LedgoraCollect {

/// The wall clock.
class TimeUtils {
 public:
  /// Seconds since the epoch as text with "000" appended: the form of
  /// milliseconds, the last three digits always 0.
  static std::string getCurrentTimeStamp();
  /// Seconds since the epoch.
  static long getCurrentTime();
};

}  // namespace LedgoraCollect
