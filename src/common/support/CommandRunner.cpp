#include "common/support/CommandRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>
#include <vector>

#include "common/support/CommandEnvironment.h"
#include "common/support/CommandGuard.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

/// The tool waits this much longer than the guard is allowed to take.
constexpr std::int64_t kGuardSpareMs = 5000;

struct Pipe {
  FileDescriptor in;   // read end
  FileDescriptor out;  // write end
};

/// Moves a descriptor above 2, where the child's own three don't meet it.
bool liftAboveStandard(FileDescriptor& descriptor) {
  if (descriptor.get() > STDERR_FILENO) return true;
  descriptor.reset(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  return static_cast<bool>(descriptor);
}

bool openPipe(Pipe& pipe) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  pipe.in.reset(ends[0]);
  pipe.out.reset(ends[1]);
  return liftAboveStandard(pipe.in) && liftAboveStandard(pipe.out);
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// Reads and drops.
int dropOutput(int descriptor, void* /*context*/) {
  char nowhere[65536];  // as much as a pipe holds
  return static_cast<int>(::read(descriptor, nowhere, sizeof nowhere));
}

/// The kernel is short of memory, or a limit on descriptors was lowered:
/// asking again at once would burn the processor until the limit.
void pauseAfterError() {
  const timespec pause{0, 10'000'000};
  ::nanosleep(&pause, nullptr);
}

/// One command from the tool's side: starts the guard, hands the output on,
/// takes the guard's report.
class CommandRun {
 public:
  explicit CommandRun(const CommandRequest& request) : mRequest(request) {}
  int run();

 private:
  bool open();
  bool startGuard();
  void follow();
  bool takeOutput();
  bool takeReport();
  void drain();
  int finish();

  const CommandRequest& mRequest;
  // Kept to the end: to free them while the guard lives would copy their pages.
  std::vector<std::string> mVariables;
  std::vector<char*> mVariablePointers;
  Pipe mOutput;
  Pipe mReport;
  Pipe mControl;
  FileDescriptor mNowhere;
  pid_t mGuard = -1;
  bool mReported = false;
  GuardReport_S mMessage{-EIO, 0, 0};
  int mReaderError = 0;
};

bool CommandRun::open() {
  if (!openPipe(mOutput) || !openPipe(mReport) || !openPipe(mControl)) return false;
  mNowhere.reset(::open("/dev/null", O_RDWR | O_CLOEXEC));
  if (!mNowhere || !liftAboveStandard(mNowhere)) return false;
  // Only our end: a pipe's two ends keep their flags apart.
  return ::fcntl(mOutput.in.get(), F_SETFL, O_NONBLOCK) == 0;
}

bool CommandRun::startGuard() {
  mVariables = commandEnvironment(environ, mRequest.environment, mRequest.options.variables);
  mVariablePointers = pointersTo(mVariables);
  const GuardTask_S task{mRequest.command.c_str(),
                         mVariablePointers.data(),
                         mRequest.options.identity,
                         std::max(mRequest.timeoutSeconds, 0) * std::int64_t{1000},
                         std::max(mRequest.waitStepSeconds, 0) * std::int64_t{1000},
                         mOutput.out.get(),
                         mReport.out.get(),
                         mControl.in.get(),
                         mNowhere.get()};
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  ::sigprocmask(SIG_SETMASK, &all, &before);
  mGuard = ::fork();
  if (mGuard == 0) guardCommand(task);
  const int error = errno;
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  mOutput.out.reset();
  mReport.out.reset();
  mControl.in.reset();
  errno = error;
  return mGuard > 0;
}

/// One call of the reader. False when there is no more to read.
bool CommandRun::takeOutput() {
  const CommandReader reader = mRequest.reader != nullptr ? mRequest.reader : dropOutput;
  errno = 0;
  const int count = reader(mOutput.in.get(), mRequest.context);
  if (count >= 0) return count > 0;
  if (errno == EAGAIN || errno == EINTR) return true;
  mReaderError = errno != 0 ? -errno : -EIO;
  mControl.out.reset();  // the guard ends the command
  return false;
}

/// One read from the guard. False when the guard has exited.
bool CommandRun::takeReport() {
  GuardReport_S message{};
  const ssize_t count = ::read(mReport.in.get(), &message, sizeof message);
  if (count < 0) return errno == EINTR;
  if (count != static_cast<ssize_t>(sizeof message)) return false;
  if (!mReported) mMessage = message;
  mReported = true;
  mMessage.leftBehind = message.leftBehind;
  return true;
}

/// Hands the output on until the guard has exited.
void CommandRun::follow() {
  const std::int64_t limit = monotonicMs() + kEndWaitMs + kGuardSpareMs +
                             std::max(mRequest.timeoutSeconds, 0) * std::int64_t{1000} +
                             std::max(mRequest.waitStepSeconds, 0) * std::int64_t{1000};
  bool readable = true;
  for (;;) {
    const std::int64_t left = std::max<std::int64_t>(limit - monotonicMs(), 0);
    pollfd watched[] = {{mReport.in.get(), POLLIN, 0}, {mOutput.in.get(), POLLIN, 0}};
    const int timeout = static_cast<int>(std::min<std::int64_t>(left, INT_MAX));
    const int ready = ::poll(watched, readable ? 2 : 1, timeout);
    if (ready <= 0 && left == 0) {
      error_output(1, __func__, __LINE__, "The guard of a command doesn't answer and is killed");
      ::kill(mGuard, SIGKILL);
      return;
    }
    if (ready < 0 && errno != EINTR) pauseAfterError();
    if (ready <= 0) continue;
    if (readable && watched[1].revents != 0) readable = takeOutput();
    if (watched[0].revents != 0 && !takeReport()) break;
  }
  if (readable) drain();
}

/// What lies in the pipe when all is over, and no more: somebody beyond our
/// reach may have got hold of its other end.
void CommandRun::drain() {
  int waiting = 0;
  if (::ioctl(mOutput.in.get(), FIONREAD, &waiting) != 0) return;
  while (waiting > 0) {
    const CommandReader reader = mRequest.reader != nullptr ? mRequest.reader : dropOutput;
    const int count = reader(mOutput.in.get(), mRequest.context);
    if (count <= 0) return;
    waiting -= count;
  }
}

int CommandRun::finish() {
  while (::waitpid(mGuard, nullptr, 0) < 0 && errno == EINTR) {
  }
  if (mMessage.leftBehind > 0) {
    error_output(1, __func__, __LINE__,
                 "%d processes of a command hang in the kernel and are left to init: %s",
                 mMessage.leftBehind, mRequest.command.c_str());
  }
  if (mMessage.startError != 0) {
    error_output(1, __func__, __LINE__, "Command could not be started, errno = %d: %s",
                 mMessage.startError, mRequest.command.c_str());
  }
  return mReaderError != 0 ? mReaderError : mMessage.result;
}

int CommandRun::run() {
  if (!open()) {
    const int error = errno;
    error_output(1, __func__, __LINE__, "No descriptors for a command, errno = %d", error);
    return error != 0 ? -error : -EMFILE;
  }
  if (!startGuard()) {
    error_output(1, __func__, __LINE__, "No process for a command, errno = %d", errno);
    return kCommandNotStarted;
  }
  follow();
  return finish();
}

struct BufferSink {
  char* out;
  std::size_t room;
  std::size_t used;
};

int readIntoBuffer(int descriptor, void* context) {
  auto* sink = static_cast<BufferSink*>(context);
  if (sink->used == sink->room) return dropOutput(descriptor, nullptr);
  const ssize_t count = ::read(descriptor, sink->out + sink->used, sink->room - sink->used);
  if (count > 0) sink->used += static_cast<std::size_t>(count);
  return static_cast<int>(count);
}

CommandRequest makeRequest(const char* command, const char* environment, int timeout,
                           int waitStep) {
  CommandRequest request;
  request.command = command;
  request.environment = environment != nullptr ? environment : "";
  request.timeoutSeconds = timeout;
  request.waitStepSeconds = waitStep;
  return request;
}

}  // namespace

int runCommand(const CommandRequest& request) { return CommandRun(request).run(); }

int runCommandIntoBuffer(CommandRequest request, char* out, int size) {
  if (out == nullptr || size < 1) return -EINVAL;
  BufferSink sink{out, static_cast<std::size_t>(size) - 1, 0};
  request.reader = readIntoBuffer;
  request.context = &sink;
  const int result = runCommand(request);
  out[sink.used] = '\0';
  return result;
}

int execute_plus(const char* command, char* out, int size, int timeout, int waitStep) {
  return execute_plus_env_cv_loop(nullptr, command, out, size, timeout, waitStep, 0);
}

int execute_plus_env_cv_loop(const char* environment, const char* command, char* out, int size,
                             int timeout, int waitStep, int /*reserved*/) {
  if (command == nullptr) return -EINVAL;
  return runCommandIntoBuffer(makeRequest(command, environment, timeout, waitStep), out, size);
}

int execute_plus_cb(const char* command, int timeout, int waitStep, CommandReader callback,
                    void* context, const char* environment) {
  if (command == nullptr || callback == nullptr) return -EINVAL;
  CommandRequest request = makeRequest(command, environment, timeout, waitStep);
  request.reader = callback;
  request.context = context;
  return runCommand(request);
}

}  // namespace LedgoraCollect
