#pragma once

namespace LedgoraCollect {

/// Whole seconds since the system started (CLOCK_BOOTTIME). Doesn't jump with
/// the wall clock, so differences measure elapsed time. 0 if there is no clock.
unsigned int get_uptime_sec();

}  // namespace LedgoraCollect
