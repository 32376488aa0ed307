#include "common/RootOpen.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace LedgoraCollect {

namespace {

// Stated here because build systems of older distributions lack <linux/openat2.h>.
constexpr long kOpenat2 = 437;
constexpr std::uint64_t kNoMagicLinks = 0x02;
constexpr std::uint64_t kNoSymlinks = 0x04;
constexpr std::uint64_t kBeneath = 0x08;
constexpr std::uint64_t kInRoot = 0x10;
struct OpenHow {
  std::uint64_t flags, mode, resolve;
};

// A rename anywhere on the machine while ".." is resolved makes the kernel ask for another try.
constexpr int kTries = 4;

bool kernelResolutionAllowed = true;

int openat2(int root, const char* path, std::uint64_t flags, std::uint64_t resolve) {
  OpenHow how{flags, 0, resolve};
  return static_cast<int>(syscall(kOpenat2, root, path, &how, sizeof how));
}

// Also false where a container's seccomp filter refuses a call that it doesn't know.
bool kernelResolves() {
  static const bool works = [] {
    return static_cast<bool>(
        FileDescriptor(openat2(AT_FDCWD, "/", O_PATH | O_CLOEXEC, kNoMagicLinks)));
  }();
  return works && kernelResolutionAllowed;
}

std::uint64_t resolveFlags(RootRule rule) {
  switch (rule) {
    case RootRule::InRoot:
      return kInRoot | kNoMagicLinks;
    case RootRule::Beneath:
      return kBeneath | kNoMagicLinks;
    case RootRule::Linkless:
      break;
  }
  return kBeneath | kNoMagicLinks | kNoSymlinks;
}

FileDescriptor openByWalk(int root, const std::string& rest, int flags, RootRule rule) {
  RootWalk walk(root, rule, (flags & O_NOFOLLOW) == 0);
  if (!walk.walk(rest)) return FileDescriptor();
  FileDescriptor reached = walk.takeReached();
  if ((flags & O_DIRECTORY) == 0) return reached;
  return FileDescriptor(openat(reached.get(), ".", (flags & ~O_NOFOLLOW) | O_CLOEXEC));
}

}  // namespace

FileDescriptor openInRoot(int root, const std::string& rest, int flags, RootRule rule) {
  const std::size_t begin = std::min(rest.find_first_not_of('/'), rest.size());
  const std::string inside = begin == rest.size() ? "." : rest.substr(begin);
  if (inside.find('\0') != std::string::npos) {
    errno = ENOENT;
    return FileDescriptor();
  }
  flags |= O_CLOEXEC;
  if ((flags & O_PATH) == 0) flags |= O_NONBLOCK | O_NOCTTY;
  for (int i = 0; kernelResolves() && i < kTries; ++i) {
    FileDescriptor opened(
        openat2(root, inside.c_str(), static_cast<std::uint64_t>(flags), resolveFlags(rule)));
    if (opened || errno != EAGAIN) return opened;
  }
  return openByWalk(root, inside, flags, rule);
}

FileDescriptor reopenRegular(const FileDescriptor& object) {
  struct stat status {};
  if (!object || fstat(object.get(), &status) != 0) return FileDescriptor();
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return FileDescriptor();
  }
  const std::string name = "/proc/self/fd/" + std::to_string(object.get());
  return FileDescriptor(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

void allowKernelResolution(bool allowed) { kernelResolutionAllowed = allowed; }

}  // namespace LedgoraCollect
