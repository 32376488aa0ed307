#include "common/support/CommandGuard.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <vector>

#include "common/support/CommandRunner.h"
#include "common/support/Handles.h"
#include "common/support/ProcessTree.h"

#ifndef SYS_close_range
#define SYS_close_range 436
#endif

namespace LedgoraCollect {

namespace {

void report(int descriptor, const GuardReport_S& message) {
  // Nobody is left to tell when this fails: the tool is gone.
  [[maybe_unused]] const ssize_t count = ::write(descriptor, &message, sizeof message);
}

std::vector<int> openDescriptors() {
  std::vector<int> open;
  const DirHandle directory(::opendir("/proc/self/fd"));
  while (const dirent* entry = directory ? ::readdir(directory.get()) : nullptr) {
    const int descriptor = std::atoi(entry->d_name);
    if (descriptor != ::dirfd(directory.get())) open.push_back(descriptor);
  }
  if (directory != nullptr) return open;
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const int most = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 1U << 16));
  for (int descriptor = 0; descriptor < most; ++descriptor) open.push_back(descriptor);
  return open;
}

/// Closes every descriptor above 2 that isn't in `kept` (ascending).
void closeAllBut(const std::array<int, 4>& kept) {
  unsigned int from = 3;
  bool byRange = true;
  for (const int descriptor : kept) {
    const auto until = static_cast<unsigned int>(descriptor);
    if (until > from) byRange = byRange && ::syscall(SYS_close_range, from, until - 1, 0) == 0;
    from = until + 1;
  }
  if (byRange && ::syscall(SYS_close_range, from, UINT_MAX, 0) == 0) return;
  for (const int descriptor : openDescriptors()) {
    if (descriptor > 2 && !std::binary_search(kept.begin(), kept.end(), descriptor)) {
      ::close(descriptor);
    }
  }
}

void setDefaultSignals() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  for (int number = 1; number <= SIGRTMAX; ++number) ::sigaction(number, &action, nullptr);
}

/// A program that crashes leaves no file behind. The limit of 1 also keeps the
/// kernel from starting the machine's core handler, which 0 wouldn't.
void forbidCoreDumps() {
  const rlimit limit = {1, 1};
  ::setrlimit(RLIMIT_CORE, &limit);
}

/// The child's side. Between vfork and exec it shares the guard's memory, so
/// it only makes system calls.
[[noreturn]] void becomeShell(const GuardTask_S& task) {
  ::setpgid(0, 0);
  int error = 0;
  const bool ready = ::dup2(task.nowhere, STDIN_FILENO) >= 0 &&
                     ::dup2(task.output, STDOUT_FILENO) >= 0 &&
                     ::dup2(task.nowhere, STDERR_FILENO) >= 0 && ::chdir("/") == 0;
  if (!ready) error = errno;
  if (error == 0 && task.identity != nullptr) error = takeOnIdentity(*task.identity);
  // Nothing a command should do, but one with root's rights can kill the guard. Set
  // behind the identity: a change of user clears it.
  if (error == 0) ::prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
  if (error == 0) {
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    const char* const arguments[] = {"sh", "-c", task.command, nullptr};
    ::execve("/bin/sh", const_cast<char* const*>(arguments), task.environment);
    error = errno;
  }
  report(task.report, {kCommandNotStarted, error, 0});
  ::_exit(127);
}

/// With an identity of its own the child can be stopped by others of that user
/// before it is the shell, and a parent in vfork would hang with it.
[[gnu::noinline]] pid_t startShell(const GuardTask_S& task) {
  const pid_t pid = task.identity != nullptr ? ::fork() : ::vfork();
  if (pid == 0) becomeShell(task);
  return pid;
}

class Guard {
 public:
  explicit Guard(const GuardTask_S& task);
  [[noreturn]] void run();

 private:
  bool wait(std::int64_t untilMs);
  bool reap();
  int watchShell();
  void askToEnd();
  bool endAll();
  bool procUsable();

  const GuardTask_S& mTask;
  FileDescriptor mChildSignals;
  std::optional<bool> mProcUsable;  // looked up when something is left to be ended
  bool mShellEnded = false;
  bool mAbandoned = false;
  pid_t mShell = -1;
};

Guard::Guard(const GuardTask_S& task) : mTask(task) {
  ::setsid();
  ::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
  setDefaultSignals();
  forbidCoreDumps();
  std::array<int, 4> kept{task.output, task.report, task.control, task.nowhere};
  std::sort(kept.begin(), kept.end());
  closeAllBut(kept);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    ::dup2(task.nowhere, standard);
  }
  sigset_t childSignal;
  sigemptyset(&childSignal);
  sigaddset(&childSignal, SIGCHLD);
  mChildSignals.reset(::signalfd(-1, &childSignal, SFD_CLOEXEC | SFD_NONBLOCK));
}

/// Sleeps until a child ended or the tool is gone. False when the time is over.
bool Guard::wait(std::int64_t untilMs) {
  const std::int64_t left = untilMs - monotonicMs();
  if (left <= 0) return false;
  pollfd watched[] = {{mChildSignals.get(), POLLIN, 0}, {mTask.control, POLLIN, 0}};
  const nfds_t count = mAbandoned ? 1 : 2;
  if (::poll(watched, count, static_cast<int>(std::min<std::int64_t>(left, INT_MAX))) <= 0) {
    return monotonicMs() < untilMs;
  }
  if (count == 2 && watched[1].revents != 0) mAbandoned = true;
  signalfd_siginfo ended;
  while (::read(mChildSignals.get(), &ended, sizeof ended) > 0) {
  }
  return true;
}

/// Takes what ended. False when no child is left, and so no descendant.
bool Guard::reap() {
  for (;;) {
    const pid_t pid = ::waitpid(-1, nullptr, WNOHANG);
    if (pid == 0) return true;
    if (pid < 0) return errno == EINTR;
    if (pid == mShell) mShellEnded = true;
  }
}

int Guard::watchShell() {
  const std::int64_t limit = monotonicMs() + mTask.timeoutMs;
  for (;;) {
    reap();
    if (mShellEnded) return kCommandRan;
    if (mAbandoned) return -ECANCELED;
    if (!wait(limit)) return kCommandStopped;
  }
}

bool Guard::procUsable() {
  if (!mProcUsable) mProcUsable = procShowsOurNamespace();
  return *mProcUsable;
}

/// SIGTERM and the grace. A stopped process couldn't act on it, so it is continued.
void Guard::askToEnd() {
  if (procUsable()) {
    signalDescendants(SIGTERM);
    signalDescendants(SIGCONT);
  } else if (!mShellEnded) {
    ::kill(-mShell, SIGTERM);
    ::kill(-mShell, SIGCONT);
  }
  const std::int64_t limit = monotonicMs() + mTask.waitStepMs;
  while (reap() && !mAbandoned && wait(limit)) {
  }
}

/// Kills until nothing is left. A process whose parent died is our child, and
/// its coming so far was told by the parent's end: so nothing has to be looked for
/// at intervals. The walk over all processes finds the deep ones at once; the list
/// of direct children is quick enough to catch one that forks and exits on and on.
bool Guard::endAll() {
  constexpr int kPassesPerWalk = 32;
  const std::int64_t limit = monotonicMs() + kEndWaitMs;
  for (int pass = 0; reap(); ++pass) {
    const bool listed = procUsable() && killDirectChildren();
    if (procUsable() && (!listed || pass % kPassesPerWalk == 0)) signalDescendants(SIGKILL);
    if (!procUsable() && !mShellEnded) ::kill(-mShell, SIGKILL);
    if (!reap()) return true;
    if (!wait(limit)) return false;
  }
  return true;
}

void Guard::run() {
  if (!mChildSignals) {
    report(mTask.report, {-errno, 0, 0});
    ::_exit(1);
  }
  mShell = startShell(mTask);
  if (mShell < 0) {
    report(mTask.report, {kCommandNotStarted, errno, 0});
    ::_exit(1);
  }
  const int result = watchShell();
  if (result == kCommandStopped) askToEnd();
  int leftBehind = 0;
  if (!endAll()) {
    leftBehind = procUsable() ? static_cast<int>(signalDescendants(SIGKILL)) : 1;
  }
  report(mTask.report, {result, 0, leftBehind});
  ::_exit(0);
}

}  // namespace

std::int64_t monotonicMs() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void guardCommand(const GuardTask_S& task) { Guard(task).run(); }

}  // namespace LedgoraCollect
