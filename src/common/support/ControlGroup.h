#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace LedgoraCollect {

/// The two interfaces of control groups to the processor controller.
enum class GroupInterface {
  Unified,  ///< version 2: cpu.max
  Legacy,   ///< version 1: cpu.cfs_quota_us and cpu.cfs_period_us
};

/// A mounted hierarchy that may carry the processor controller.
struct GroupMount_S {
  std::string point;  // where it is mounted
  std::string root;   // the group that is seen there, "/" for the whole hierarchy
};

/// Finds the hierarchy in the text of /proc/self/mountinfo: the unified one, or
/// the legacy one with the controller "cpu". False if it isn't mounted.
bool findGroupMount(std::string_view mountInfo, GroupInterface interface, GroupMount_S& mount);

/// Finds our group in the text of /proc/self/cgroup, as a path in the hierarchy.
bool findOwnGroup(std::string_view cgroupText, GroupInterface interface, std::string& path);

/// The directory of group `path`: the mount's own where the path isn't below its root.
std::string groupDirectory(const GroupMount_S& mount, const std::string& path);

/// No limit.
constexpr std::int64_t kNoQuota = -1;
/// All quotas are microseconds of processor time in this period.
constexpr std::int64_t kQuotaPeriodUs = 1000000;

/// The limit that a group itself has; kNoQuota without one or where it can't be read.
std::int64_t readGroupQuota(const std::string& directory, GroupInterface interface);

/// The lowest limit of the group and of those above it up to the mount's root.
std::int64_t lowestGroupQuota(const GroupMount_S& mount, const std::string& directory,
                              GroupInterface interface);

/// Puts this process into the group `name` below `parent` with at most `quotaUs`;
/// the group is made if need be and stays. A group that others run in is never
/// given more than it has. On false this process is where it was.
bool enterLimitedGroup(const std::string& parent, const std::string& name, GroupInterface interface,
                       std::int64_t quotaUs);

}  // namespace LedgoraCollect
