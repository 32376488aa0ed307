#include "run/CollectParams.h"

#include <cstdlib>
#include <string>

#include "common/support/Log.h"
#include "run/TimeUtils.h"

namespace LedgoraCollect {

void CollectParams::SetCollectParams() {
  const std::string now = TimeUtils::getCurrentTimeStamp();
  error_output(2, __func__, __LINE__, "collect start time is %s.", now.c_str());
  if (setenv("LEDGORA_START_TIME", now.c_str(), 1) != 0) {
    error_output(1, __func__, __LINE__, "LEDGORA_START_TIME can't be set");
  }
}

}  // namespace LedgoraCollect
