#include "support/PeakMemory.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>

namespace LedgoraTest {
namespace {

/// Peak of a child, in KiB, or -1 if it failed.
long childPeakKib(const std::function<bool()>& work) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(work() ? 0 : 1);
  int status = 0;
  rusage usage{};
  if (child < 0 || ::wait4(child, &status, 0, &usage) != child || status != 0) return -1;
  return usage.ru_maxrss;
}

}  // namespace

long peakMemoryKib(const std::function<bool()>& work) {
  // A child begins with its parent's memory, which doesn't count.
  const long idle = childPeakKib([] { return true; });
  const long busy = childPeakKib(work);
  return busy < 0 || idle < 0 ? LONG_MAX : busy - idle;
}

}  // namespace LedgoraTest
