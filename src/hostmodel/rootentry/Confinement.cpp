#include "hostmodel/rootentry/Confinement.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "common/support/Handles.h"

namespace LedgoraCollect {
namespace {

constexpr unsigned int kCapabilities = 64;

constexpr struct {
  std::string_view name;
  int resource;
} kLimits[] = {
    {"Max cpu time", RLIMIT_CPU},          {"Max file size", RLIMIT_FSIZE},
    {"Max data size", RLIMIT_DATA},        {"Max stack size", RLIMIT_STACK},
    {"Max processes", RLIMIT_NPROC},       {"Max open files", RLIMIT_NOFILE},
    {"Max locked memory", RLIMIT_MEMLOCK}, {"Max address space", RLIMIT_AS},
    {"Max nice priority", RLIMIT_NICE},    {"Max realtime priority", RLIMIT_RTPRIO},
};
// Where the soft limit starts in the file's columns.
constexpr std::size_t kSoftColumn = 26;

bool parseLimit(std::string_view& rest, rlim_t& limit) {
  constexpr std::string_view kUnlimited = "unlimited";
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  if (rest.substr(0, kUnlimited.size()) == kUnlimited) {
    limit = RLIM_INFINITY;
    rest.remove_prefix(kUnlimited.size());
    return true;
  }
  const auto parsed = std::from_chars(rest.data(), rest.data() + rest.size(), limit);
  if (parsed.ec != std::errc()) return false;
  rest.remove_prefix(static_cast<std::size_t>(parsed.ptr - rest.data()));
  return true;
}

int takeOnLimit(int resource, std::string_view columns) {
  rlimit limit;
  rlimit own;
  const auto which = static_cast<__rlimit_resource>(resource);
  if (!parseLimit(columns, limit.rlim_cur) || !parseLimit(columns, limit.rlim_max)) return EINVAL;
  if (getrlimit(which, &own) != 0) return errno;
  limit.rlim_max = std::min(limit.rlim_max, own.rlim_max);
  limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
  return setrlimit(which, &limit) == 0 ? 0 : errno;
}

bool isNullDevice(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode) &&
         status.st_rdev == makedev(1, 3);
}

}  // namespace

int limitCapabilities(std::uint64_t allowed) {
  for (unsigned int capability = 0; capability < kCapabilities; ++capability) {
    if ((allowed & capabilityBit(capability)) != 0) continue;
    const int present = prctl(PR_CAPBSET_READ, capability, 0, 0, 0);
    if (present < 0) break;  // the kernel knows no more
    if (present == 1 && prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) return errno;
  }
  // Kernels before 4.3 have no ambient set to clear.
  if (prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0) != 0 && errno != EINVAL) {
    return errno;
  }
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  if (syscall(SYS_capget, &header, data) != 0) return errno;
  for (unsigned int i = 0; i < _LINUX_CAPABILITY_U32S_3; ++i) {
    data[i].permitted &= static_cast<__u32>(allowed >> (32 * i));
    data[i].effective = data[i].permitted;
    data[i].inheritable = 0;
  }
  return syscall(SYS_capset, &header, data) == 0 ? 0 : errno;
}

int replaceStandardDescriptors() {
  const FileDescriptor null(open("/dev/null", O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!null) return errno;
  if (!isNullDevice(null.get())) return ENODEV;
  for (int descriptor = 0; descriptor < 3; ++descriptor) {
    struct stat status;
    const bool open = fstat(descriptor, &status) == 0;
    if (open && (S_ISFIFO(status.st_mode) || S_ISREG(status.st_mode))) continue;
    if (dup2(null.get(), descriptor) != descriptor) return errno;
  }
  return 0;
}

int takeOnLimits(std::string_view limitsText) {
  while (!limitsText.empty()) {
    const std::string_view line = limitsText.substr(0, limitsText.find('\n'));
    limitsText.remove_prefix(std::min(line.size() + 1, limitsText.size()));
    for (const auto& limit : kLimits) {
      if (line.size() <= kSoftColumn || line.substr(0, limit.name.size()) != limit.name) continue;
      const int error = takeOnLimit(limit.resource, line.substr(kSoftColumn));
      if (error != 0) return error;
    }
  }
  return 0;
}

// A limit of 1 is the one that keeps the kernel from starting the machine's
// own core handler; 0 only keeps files from being written.
int refuseCoreDumps() {
  const rlimit limit = {1, 1};
  return setrlimit(RLIMIT_CORE, &limit) == 0 ? 0 : errno;
}

}  // namespace LedgoraCollect
