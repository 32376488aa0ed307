#include "collect/status/FileSystemSizes.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>

#include "common/InspectedRoot.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "hostmodel/CollectionBase.h"

namespace LedgoraCollect {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// A file system that is silent for so long gets a helper of its own and is
/// waited for while the others are asked.
constexpr milliseconds kSilence{150};
/// What all silent file systems together may cost.
constexpr milliseconds kPatience{1700};
/// How long helpers that were ended may take to go.
constexpr milliseconds kEndOfHelper{200};
/// Helpers at a time once a file system was silent.
constexpr std::size_t kHelpersAtOnce = 256;

/// What a helper writes: shorter than PIPE_BUF, so it arrives whole.
struct Answer_S {
  std::uint64_t index;
  std::uint64_t failed;
  std::uint64_t blockBytes;
  std::uint64_t blocks;
  std::uint64_t freeBlocks;
};

struct Range_S {
  std::size_t begin;
  std::size_t end;
};

int askKernel(const std::string& env, const std::string& mountPath, struct statfs64& size) {
  if (env.empty()) return ::statfs64(mountPath.c_str(), &size);
  const FileDescriptor mount = openInspected(CollectionBase::addEnvPath(env, mountPath), O_PATH);
  return mount ? ::fstatfs64(mount.get(), &size) : -1;
}

Answer_S answerFor(const std::string& env, const std::string& mountPath, std::size_t index) {
  struct statfs64 size {};
  Answer_S answer{};
  answer.index = index;
  if (askKernel(env, mountPath, size) != 0) {
    answer.failed = 1;
    return answer;
  }
  answer.blockBytes = static_cast<std::uint64_t>(size.f_bsize);
  answer.blocks = size.f_blocks;
  answer.freeBlocks = size.f_bfree;
  return answer;
}

/// Closes what the tool inherited from its parent, which is all that isn't
/// marked to be closed on exec. A helper that hangs must not hold the pipe on
/// which that parent waits for the end of our output.
void closeInherited() {
  const DirHandle descriptors(::opendir("/proc/self/fd"));
  const int last = descriptors ? -1 : 1024;
  const auto closeOne = [](int descriptor) {
    const int flags = ::fcntl(descriptor, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) ::close(descriptor);
  };
  for (int descriptor = 0; descriptor < last; ++descriptor) closeOne(descriptor);
  while (const dirent* const entry = descriptors ? ::readdir(descriptors.get()) : nullptr) {
    if (entry->d_name[0] != '.') closeOne(std::atoi(entry->d_name));
  }
}

/// Asks one question of the kernel after the other; written answers can only
/// get lost when nobody waits for them any more.
[[noreturn]] void runHelper(int answers, pid_t parent, const std::string& env,
                            const std::vector<std::string>& mountPaths, Range_S range) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(1);
  closeInherited();
  for (std::size_t i = range.begin; i < range.end; ++i) {
    const Answer_S answer = answerFor(env, mountPaths[i], i);
    if (::write(answers, &answer, sizeof(answer)) != static_cast<ssize_t>(sizeof(answer))) break;
  }
  ::_exit(0);
}

/// True when the helper is gone, within `patience`.
bool awaitEnd(pid_t helper, milliseconds patience) {
  const Clock::time_point deadline = Clock::now() + patience;
  for (;;) {
    const pid_t result = ::waitpid(helper, nullptr, WNOHANG);
    if (result == helper || (result < 0 && errno != EINTR)) return true;
    if (Clock::now() >= deadline) return false;
    const timespec pause{0, 2'000'000};
    ::nanosleep(&pause, nullptr);
  }
}

/// One round of questions to all mounts.
class SizeQuestions {
 public:
  SizeQuestions(const std::string& env, const std::vector<std::string>& mountPaths)
      : mEnv(env),
        mMountPaths(mountPaths),
        mSizes(mountPaths.size()),
        mAnswered(mountPaths.size()) {}
  SizeQuestions(const SizeQuestions&) = delete;
  SizeQuestions& operator=(const SizeQuestions&) = delete;
  ~SizeQuestions() { endHelpers(); }

  std::vector<FileSystemSize_S> ask() {
    int ends[2] = {-1, -1};
    if (mMountPaths.empty()) return mSizes;
    // Only our end doesn't block: a helper whose answers pile up waits.
    if (::pipe2(ends, O_CLOEXEC) != 0 || ::fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0) {
      error_output(0, "askFileSystemSizes", __LINE__, "no pipe for the helper, errno %d", errno);
      return mSizes;
    }
    mRead.reset(ends[0]);
    mWrite.reset(ends[1]);
    const std::size_t silent = askInTurn();
    if (silent < mMountPaths.size()) askTheRestAtOnce(silent);
    return mSizes;
  }

 private:
  /// One helper for all mounts: the index of the first that is silent, or
  /// their number.
  std::size_t askInTurn() {
    if (!startHelper({0, mMountPaths.size()})) return mMountPaths.size();
    while (firstUnanswered() < mMountPaths.size()) {
      if (!takeAnswers(Clock::now() + kSilence)) return firstUnanswered();
    }
    return mMountPaths.size();
  }

  /// A helper for each mount behind the silent one, and an end to all waiting
  /// when the patience is over.
  void askTheRestAtOnce(std::size_t silent) {
    const Clock::time_point deadline = Clock::now() + kPatience - kSilence;
    std::size_t next = silent + 1;
    while (firstUnanswered() < mMountPaths.size() && Clock::now() < deadline) {
      while (next < mMountPaths.size() && unanswered({silent, next}) < kHelpersAtOnce) {
        if (!startHelper({next, next + 1})) break;
        ++next;
      }
      takeAnswers(deadline);
    }
  }

  std::size_t firstUnanswered() const {
    return static_cast<std::size_t>(std::find(mAnswered.begin(), mAnswered.end(), false) -
                                    mAnswered.begin());
  }

  std::size_t unanswered(Range_S range) const {
    const auto at = [this](std::size_t i) {
      return mAnswered.begin() + static_cast<std::ptrdiff_t>(i);
    };
    return static_cast<std::size_t>(std::count(at(range.begin), at(range.end), false));
  }

  bool startHelper(Range_S range) {
    const pid_t parent = ::getpid();
    const pid_t helper = ::fork();
    if (helper == 0) runHelper(mWrite.get(), parent, mEnv, mMountPaths, range);
    if (helper < 0) {
      error_output(0, "askFileSystemSizes", __LINE__, "no helper process, errno %d", errno);
      return false;
    }
    mHelpers.push_back(helper);
    return true;
  }

  /// Waits for an answer and takes all that are there. False at the deadline.
  bool takeAnswers(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    pollfd waiting{mRead.get(), POLLIN, 0};
    const int ready = ::poll(&waiting, 1, static_cast<int>(std::max<long>(left.count(), 0)));
    if (ready < 0 && errno == EINTR) return true;
    if (ready <= 0) return false;
    Answer_S answer;
    while (::read(mRead.get(), &answer, sizeof(answer)) == static_cast<ssize_t>(sizeof(answer))) {
      keep(answer);
    }
    return true;
  }

  void keep(const Answer_S& answer) {
    if (answer.index >= mSizes.size() || mAnswered[answer.index]) return;
    mAnswered[answer.index] = true;
    mSizes[answer.index] = {answer.failed == 0, answer.blockBytes, answer.blocks,
                            answer.freeBlocks};
  }

  void endHelpers() {
    for (const pid_t helper : mHelpers) ::kill(helper, SIGKILL);
    milliseconds patience = kEndOfHelper;
    for (const pid_t helper : mHelpers) {
      if (awaitEnd(helper, patience)) continue;
      error_output(1, "askFileSystemSizes", __LINE__,
                   "helper %d hangs in the kernel and is left behind", static_cast<int>(helper));
      patience = milliseconds{0};
    }
  }

  const std::string& mEnv;
  const std::vector<std::string>& mMountPaths;
  std::vector<FileSystemSize_S> mSizes;
  std::vector<bool> mAnswered;
  FileDescriptor mRead;
  FileDescriptor mWrite;
  std::vector<pid_t> mHelpers;
};

}  // namespace

std::vector<FileSystemSize_S> askFileSystemSizes(const std::string& env,
                                                 const std::vector<std::string>& mountPaths) {
  return SizeQuestions(env, mountPaths).ask();
}

}  // namespace LedgoraCollect
