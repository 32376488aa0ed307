#include "run/TimeUtils.h"

#include <sys/time.h>

namespace LedgoraCollect {

long TimeUtils::getCurrentTime() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return now.tv_sec;
}

std::string TimeUtils::getCurrentTimeStamp() { return std::to_string(getCurrentTime()) + "000"; }

}  // namespace LedgoraCollect
