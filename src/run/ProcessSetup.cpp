#include "run/ProcessSetup.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace LedgoraCollect {

void prepareProcess() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free number is the one found closed. Without /dev/null the
    // number would go to some file of ours, so there is no going on.
    if (open("/dev/null", O_RDWR) != descriptor) std::abort();
  }
  std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace LedgoraCollect
