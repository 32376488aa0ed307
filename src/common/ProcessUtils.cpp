#include "common/ProcessUtils.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "common/support/Uptime.h"

#ifndef SYS_pidfd_open
#define SYS_pidfd_open 434
#endif

namespace LedgoraCollect {

namespace {

constexpr int kMostResultBytes = 0x1400000;  // 20 MiB
constexpr unsigned int kLimitSeconds = 30;
constexpr int kSuccessStatus = 1;
constexpr int kFailureStatus = 255;

void closeEnd(int& descriptor) {
  if (descriptor >= 0) ::close(descriptor);
  descriptor = -1;
}

/// Sets the SIGCHLD disposition to default: a handler or an ignored SIGCHLD
/// would take the exit status away. Puts the remembered one back at the end.
class ChildSignal {
 public:
  ChildSignal() { mOld.sa_handler = SIG_DFL; }
  ChildSignal(const ChildSignal&) = delete;
  ChildSignal& operator=(const ChildSignal&) = delete;
  ~ChildSignal() { ::sigaction(SIGCHLD, &mOld, nullptr); }

  void setDefault() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    ::sigaction(SIGCHLD, &action, &mOld);
  }

 private:
  struct sigaction mOld {};
};

bool writeAll(int descriptor, const std::string& text, ssize_t& written) {
  written = 0;
  while (static_cast<std::size_t>(written) < text.size()) {
    const ssize_t count =
        ::write(descriptor, text.data() + written, text.size() - static_cast<std::size_t>(written));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      if (written == 0) written = count;
      break;
    }
    written += count;
  }
  return written > 0;
}

/// The child's work; true when a result went out.
bool computeInRoot(int* pipe, ProcessUtils::ChrootFunction function, const std::string& root,
                   const std::string& path) {
  if (::signal(SIGCHLD, SIG_DFL) == SIG_ERR) {
    error_output(0, "chrootFunction", __LINE__, "signal set failed");
    return false;
  }
  closeEnd(pipe[0]);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
  ::setpgid(0, 0);
  if (::chroot(root.c_str()) != 0 || ::chdir("/") != 0) {
    error_output(0, "chrootFunction", __LINE__, "Error changing root directory(%s) of path(%s)",
                 root.c_str(), path.c_str());
    return false;
  }
  std::string result;
  if (!function(path, result)) {
    error_output(0, "chrootFunction", __LINE__, "Error childProcessCallBack of path(%s)",
                 path.c_str());
    return false;
  }
  ssize_t written = 0;
  const bool sent = writeAll(pipe[1], result, written);
  LEDGORA_DEBUG("write result(%s) size(%lu) n(%zd).", result.c_str(),
                static_cast<unsigned long>(result.size()), written);
  if (sent) return true;
  error_output(0, "chrootFunction", __LINE__, "Error write(%zd) result(%s) into pipe of path(%s)",
               written, result.c_str(), path.c_str());
  return false;
}

/// The parent's reading of one child's result.
class ChildResult {
 public:
  ChildResult(int pid, int descriptor, std::string& out)
      : mPid(pid), mDescriptor(descriptor), mOut(out), mStart(get_uptime_sec()) {}
  bool collect();

 private:
  enum class Step { GoOn, Ended, Failed };
  Step readOnce();
  Step lookForEnd();
  void append(const char* text, std::size_t count);
  void waitForMore();
  bool overTime() const { return get_uptime_sec() - mStart > kLimitSeconds - 1; }
  bool killChild();

  int mPid;
  int mDescriptor;
  std::string& mOut;
  unsigned int mStart;
  FileDescriptor mChildEnd;  // readable when the child ended; only asked for at end of output
  std::size_t mTotal = 0;
  bool mCut = false;
  bool mReadAll = false;
  int mStatus = 0;
  std::array<char, 65536> mBuffer{};
};

/// A zero byte cuts the result for good, however the reads fall.
void ChildResult::append(const char* text, std::size_t count) {
  const std::string_view piece(text, count);
  const std::size_t zero = piece.find('\0');
  if (!mCut) mOut.append(piece.substr(0, zero));
  mCut = mCut || zero != std::string_view::npos;
}

ChildResult::Step ChildResult::lookForEnd() {
  const pid_t ended = ::waitpid(mPid, &mStatus, WNOHANG);
  if (ended > 0) return Step::Ended;
  if (ended == 0 || errno == EINTR) return Step::GoOn;
  error_output(0, "getChildResult", __LINE__, "Error wait child error.");
  return Step::Failed;
}

ChildResult::Step ChildResult::readOnce() {
  if (mReadAll) return lookForEnd();
  const ssize_t count = ::read(mDescriptor, mBuffer.data(), mBuffer.size());
  if (count < 0) {
    if (errno == EAGAIN || errno == EINTR) return Step::GoOn;
    error_output(0, "getChildResult", __LINE__, "Error read result from pipe");
    return Step::Failed;
  }
  if (count == 0) {
    mReadAll = true;
    return lookForEnd();
  }
  mTotal += static_cast<std::size_t>(count);
  if (mTotal > kMostResultBytes) {
    error_output(0, "getChildResult", __LINE__,
                 "Error read result content, because over length(%d)", kMostResultBytes);
    return Step::Failed;
  }
  append(mBuffer.data(), static_cast<std::size_t>(count));
  return Step::GoOn;
}

/// Waits for output, or for the child's end once there is no more output; at
/// most a second, so that the limit is looked at.
void ChildResult::waitForMore() {
  pollfd watched{mDescriptor, POLLIN, 0};
  if (!mReadAll) {
    ::poll(&watched, 1, 1000);
    return;
  }
  if (!mChildEnd) mChildEnd.reset(static_cast<int>(::syscall(SYS_pidfd_open, mPid, 0)));
  // Kernels before 5.3 can't be asked to tell: there the few steps between a
  // child's last output and its end are waited for in short turns.
  watched.fd = mChildEnd.get();
  ::poll(&watched, 1, mChildEnd ? 1000 : 1);
}

bool ChildResult::killChild() {
  ::kill(-mPid, SIGKILL);
  while (::waitpid(mPid, nullptr, 0) < 0 && errno == EINTR) {
  }
  return false;
}

bool ChildResult::collect() {
  for (;;) {
    const Step step = readOnce();
    if (step == Step::Failed) return killChild();
    if (step == Step::Ended) break;
    if (overTime()) {
      error_output(0, "getChildResult", __LINE__,
                   "Error read result content, because over time(%d)",
                   static_cast<int>(kLimitSeconds));
      return killChild();
    }
    waitForMore();
  }
  LEDGORA_DEBUG("Out(%s), size(%d) WEXITSTATUS(%d).", mOut.c_str(), static_cast<int>(mTotal),
                WEXITSTATUS(mStatus));
  // Failure is status 255 and so true as well, with an empty result: callers
  // judge by the result.
  return WEXITSTATUS(mStatus) != 0;
}

}  // namespace

bool ProcessUtils::executeChrootFunction(ChrootFunction function, const std::string& root,
                                         const std::string& path, std::string& out) {
  // Without anything to do SIGCHLD is left at its default all the same.
  ChildSignal childSignal;
  if (function == nullptr || root.empty() || path.empty()) return false;
  childSignal.setDefault();
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  const pid_t pid = ::fork();
  if (pid == 0) chrootFunction(ends, function, root, path);
  closeEnd(ends[1]);
  // The child does so too; whoever comes first, the group is there before it is killed.
  if (pid > 0) ::setpgid(pid, pid);
  const bool done = pid > 0 && getChildResult(pid, ends, out);
  closeEnd(ends[0]);
  return done;
}

void ProcessUtils::chrootFunction(int* pipe, ChrootFunction function, const std::string& root,
                                  const std::string& path) {
  const bool sent = computeInRoot(pipe, function, root, path);
  closeEnd(pipe[0]);
  closeEnd(pipe[1]);
  // _exit: the parent's buffers and handlers at exit are its own.
  ::_exit(sent ? kSuccessStatus : kFailureStatus);
}

bool ProcessUtils::getChildResult(int pid, int* pipe, std::string& out) {
  out.clear();
  set_pipe_noblock(pipe[0]);
  return ChildResult(pid, pipe[0], out).collect();
}

bool ProcessUtils::set_pipe_noblock(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  return flags >= 0 && ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == 0;
}

}  // namespace LedgoraCollect
