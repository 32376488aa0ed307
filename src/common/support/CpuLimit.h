#pragma once

#include <cstdint>
#include <string>

namespace LedgoraCollect {

/// Keeps this process, and all that it starts, within `limit` percent of the
/// whole machine's processor time, but gives it at least a fifth of one
/// processor: the limits of commands run on the clock. Means, the first that works:
/// the control group `name` (version 2, then version 1), which all runs share and
/// which stays for the next one; else niceness 19 and batch scheduling.
/// Returns 0, or non-zero if not even the priority could be lowered or `name`
/// can't be a group's.
int set_cpu_limit(int limit, const char* name);

/// What the limit is worked out from; replaced by tests.
struct CpuLimitSources {
  std::string mountInfo = "/proc/self/mountinfo";
  std::string ownGroups = "/proc/self/cgroup";
  long processors = 0;  ///< 0: as many as are online
};

/// As set_cpu_limit, with the hierarchies that `sources` tell of.
int setCpuLimit(int limit, const char* name, const CpuLimitSources& sources);

/// `limit` percent of `processors` in microseconds a second, not below a fifth
/// of one and not above all of them.
std::int64_t quotaOf(int limit, long processors);

}  // namespace LedgoraCollect
