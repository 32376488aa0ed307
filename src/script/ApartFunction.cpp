// host.apart: work on what others wrote, in a process of its own, so that a
// text made to cost without end costs the run a bounded time and one answer.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include "common/support/Handles.h"
#include "script/LuaStack.h"

namespace LedgoraCollect {
namespace {

// Processor seconds. Real configurations take milliseconds; once this many
// pieces of work have used up theirs, somebody means it.
constexpr rlim_t kSeconds = 10;
constexpr rlim_t kSecondsWhenMeant = 1;
constexpr int kPatience = 3;
// Of elapsed time: the share of the processor may be small.
constexpr std::time_t kElapsedSeconds = 300;
constexpr std::size_t kMaximumAnswerBytes = std::size_t{64} << 20;
constexpr char kAnswer = 'A';
constexpr char kError = 'E';

int sUsedUp = 0;  // pieces of work that were stopped

std::time_t monotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

void writeAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) _exit(EXIT_FAILURE);
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

[[noreturn]] void work(lua_State* state, int output, pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
  if (::getppid() != parent) _exit(EXIT_FAILURE);
  const rlim_t seconds = sUsedUp < kPatience ? kSeconds : kSecondsWhenMeant;
  const rlimit limit = {seconds, seconds};
  if (::setrlimit(RLIMIT_CPU, &limit) != 0) _exit(EXIT_FAILURE);
  lua_pushvalue(state, 1);
  const bool done = lua_pcall(state, 0, 1, 0) == LUA_OK;
  std::size_t size = 0;
  const char* text = lua_tolstring(state, -1, &size);
  writeAll(output, {done && text != nullptr ? &kAnswer : &kError, 1});
  writeAll(output, text != nullptr ? std::string_view(text, size) : "no text");
  _exit(EXIT_SUCCESS);
}

/// False when the time is over or the answer too long.
bool readAnswer(int input, std::string& answer) {
  const std::time_t until = monotonicSeconds() + kElapsedSeconds;
  char buffer[65536];
  for (;;) {
    const std::time_t left = until - monotonicSeconds();
    pollfd watched = {input, POLLIN, 0};
    if (left <= 0 || answer.size() > kMaximumAnswerBytes) return false;
    if (::poll(&watched, 1, static_cast<int>(left) * 1000) < 0 && errno != EINTR) return false;
    if (watched.revents == 0) continue;
    const ssize_t count = ::read(input, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) return true;
    answer.append(buffer, static_cast<std::size_t>(count));
  }
}

/// host.apart(function) -> the text that the function gives | nil, why. What
/// else the function changes stays in the other process.
int apart(lua_State* state) {
  luaL_checktype(state, 1, LUA_TFUNCTION);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return failure(state, "no pipe");
  FileDescriptor input(ends[0]);
  FileDescriptor output(ends[1]);
  const pid_t parent = ::getpid();
  const pid_t worker = ::fork();
  if (worker < 0) return failure(state, "no process");
  if (worker == 0) work(state, output.get(), parent);
  output.reset();
  std::string answer;
  const bool whole = readAnswer(input.get(), answer);
  if (!whole) ::kill(worker, SIGKILL);
  int status = 0;
  while (::waitpid(worker, &status, 0) < 0 && errno == EINTR) {
  }
  if (whole && WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS && !answer.empty()) {
    const std::string_view text = std::string_view(answer).substr(1);
    if (answer.front() != kAnswer) return failure(state, text);
    pushText(state, text);
    return 1;
  }
  ++sUsedUp;
  return failure(state, "stopped: it took too much time or memory");
}

constexpr luaL_Reg kFunctions[] = {
    {"apart", hostFunction<apart>},
    {nullptr, nullptr},
};

}  // namespace

void addApartFunctions(lua_State* state) { luaL_setfuncs(state, kFunctions, 0); }

}  // namespace LedgoraCollect
