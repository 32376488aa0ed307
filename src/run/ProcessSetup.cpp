#include "run/ProcessSetup.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace LedgoraCollect {
namespace {

constexpr unsigned int kLongestRunSeconds = 2 * 60 * 60;

// Whatever the parent made of the signal: its default action also ends waits
// that no handler could interrupt.
void limitElapsedTime() {
  sigset_t alarmSignal;
  sigemptyset(&alarmSignal);
  sigaddset(&alarmSignal, SIGALRM);
  std::signal(SIGALRM, SIG_DFL);
  sigprocmask(SIG_UNBLOCK, &alarmSignal, nullptr);
  alarm(kLongestRunSeconds);
}

}  // namespace

void prepareProcess() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free number is the one found closed. Without /dev/null the
    // number would go to some file of ours, so there is no going on.
    if (open("/dev/null", O_RDWR) != descriptor) std::abort();
  }
  std::signal(SIGPIPE, SIG_IGN);
  limitElapsedTime();
}

}  // namespace LedgoraCollect
