#include "common/support/Uptime.h"

#include <ctime>

namespace LedgoraCollect {

unsigned int get_uptime_sec() {
  timespec now{};
  if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) return 0;
  return static_cast<unsigned int>(now.tv_sec);
}

}  // namespace LedgoraCollect
