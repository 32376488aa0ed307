#include "hostmodel/rootentry/DescriptorTable.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "common/support/Handles.h"

namespace LedgoraCollect {
namespace {

// Kernels before 5.9 have no call for a range.
bool closeListed() {
  std::vector<int> open;
  {
    const DirHandle directory(opendir("/proc/self/fd"));
    if (directory == nullptr) return false;
    while (const dirent* entry = readdir(directory.get())) {
      const int descriptor = std::atoi(entry->d_name);
      if (descriptor > 2 && descriptor != dirfd(directory.get())) open.push_back(descriptor);
    }
  }
  for (const int descriptor : open) close(descriptor);
  return true;
}

}  // namespace

bool keepStandardDescriptorsOnly() {
  constexpr long kCloseRange = 436;
  if (syscall(kCloseRange, 3U, ~0U, 0U) != 0 && !closeListed()) return false;
  for (int descriptor = 0; descriptor < 3; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    if (open("/dev/null", O_RDWR) != descriptor) return false;
  }
  return true;
}

}  // namespace LedgoraCollect
