#include "common/support/CpuLimit.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "common/support/ControlGroup.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

constexpr std::int64_t kLeastQuotaUs = kQuotaPeriodUs / 5;
constexpr int kLowestPriority = 19;

bool isGroupName(const char* name) {
  if (name == nullptr || *name == '\0' || std::strchr(name, '/') != nullptr) return false;
  return std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0;
}

std::string readWhole(const std::string& path) {
  constexpr std::size_t kMostBytes = 4U << 20;
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  char piece[4096];
  ssize_t count = 0;
  while (file && text.size() < kMostBytes &&
         (count = ::read(file.get(), piece, sizeof piece)) > 0) {
    text.append(piece, static_cast<std::size_t>(count));
  }
  return text;
}

std::string lastName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

/// Where the group may be made, in order: below our own group, below the root's.
/// A run that another run started is in the shared group already and stays there.
std::vector<std::string> possibleParents(const GroupMount_S& mount, const std::string& own,
                                         const std::string& name) {
  if (own != mount.point && lastName(own) == name) return {parentOf(own)};
  if (own == mount.point) return {own};
  return {own, mount.point};
}

bool limitByGroup(GroupInterface interface, const char* name, std::int64_t quotaUs,
                  const CpuLimitSources& sources) {
  GroupMount_S mount;
  std::string path;
  if (!findGroupMount(readWhole(sources.mountInfo), interface, mount)) return false;
  if (!findOwnGroup(readWhole(sources.ownGroups), interface, path)) return false;
  const std::string own = groupDirectory(mount, path);
  // Leaving the group that we were put into must not win us processor time.
  const std::int64_t lowest = lowestGroupQuota(mount, own, interface);
  if (lowest != kNoQuota) quotaUs = std::min(quotaUs, lowest);
  for (const std::string& parent : possibleParents(mount, own, name)) {
    if (!enterLimitedGroup(parent, name, interface, quotaUs)) continue;
    error_output(2, "set_cpu_limit", __LINE__,
                 "Processor time limited by control group %s/%s (version %d), "
                 "%lld microseconds a second",
                 parent.c_str(), name, interface == GroupInterface::Unified ? 2 : 1,
                 static_cast<long long>(readGroupQuota(parent + "/" + name, interface)));
    return true;
  }
  return false;
}

bool setBatchScheduling() {
  const int policy = ::sched_getscheduler(0);
  if (policy == SCHED_BATCH || policy == SCHED_IDLE) return true;  // idle is lower still
  const sched_param parameters{};
  return ::sched_setscheduler(0, SCHED_BATCH, &parameters) == 0;
}

bool limitByPriority() {
  const bool done = ::setpriority(PRIO_PROCESS, 0, kLowestPriority) == 0 && setBatchScheduling();
  if (!done) {
    error_output(0, "set_cpu_limit", __LINE__, "Priority can't be lowered, errno = %d", errno);
    return false;
  }
  error_output(1, "set_cpu_limit", __LINE__,
               "No control group can be used: processor time limited by niceness %d and batch "
               "scheduling only",
               kLowestPriority);
  return true;
}

}  // namespace

std::int64_t quotaOf(int limit, long processors) {
  const std::int64_t percent = std::clamp(limit, 0, 100);
  const std::int64_t quota = percent * std::max(processors, 1L) * (kQuotaPeriodUs / 100);
  return std::max(quota, kLeastQuotaUs);
}

int setCpuLimit(int limit, const char* name, const CpuLimitSources& sources) {
  if (!isGroupName(name)) return -1;
  const long processors =
      sources.processors > 0 ? sources.processors : ::sysconf(_SC_NPROCESSORS_ONLN);
  const std::int64_t quotaUs = quotaOf(limit, processors);
  for (const GroupInterface interface : {GroupInterface::Unified, GroupInterface::Legacy}) {
    if (limitByGroup(interface, name, quotaUs, sources)) return 0;
  }
  return limitByPriority() ? 0 : -1;
}

int set_cpu_limit(int limit, const char* name) {
  return setCpuLimit(limit, name, CpuLimitSources{});
}

}  // namespace LedgoraCollect
