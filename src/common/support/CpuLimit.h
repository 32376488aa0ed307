#pragma once

namespace LedgoraCollect {

/// Keeps this process, and all that it starts, within `limit` percent of the
/// machine's processor time (never less than a fifth of one processor), by a
/// control group `name` that all runs share, else by the lowest priority.
/// Returns 0, or non-zero if not even the priority could be lowered.
int set_cpu_limit(int limit, const char* name);

}  // namespace LedgoraCollect
