// host.apart, host.seconds: work on what others wrote, in a process of its own, so that a
// text made to cost without end costs the run a bounded time and one answer.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include "common/support/Handles.h"
#include "script/LuaStack.h"

namespace LedgoraCollect {
namespace {

// Processor seconds. Real configurations take milliseconds.
constexpr rlim_t kProcessorSeconds = 10;
// What the script itself may hold of what nobody uses any more when it starts
// work: that counts against the work's memory.
constexpr int kGarbageKibibytes = 16 << 10;
constexpr std::size_t kMaximumAnswerBytes = std::size_t{64} << 20;
constexpr char kAnswer = 'A';
constexpr char kError = 'E';

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
  const rlimit limit = {kProcessorSeconds, kProcessorSeconds};
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
bool readAnswer(int input, std::time_t seconds, std::string& answer) {
  const std::time_t until = monotonicSeconds() + seconds;
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

/// host.apart(function, seconds) -> the text that the function gives within that
/// elapsed time (at most a day) | nil, why. What else the function changes stays
/// in the other process.
int apart(lua_State* state) {
  luaL_checktype(state, 1, LUA_TFUNCTION);
  const lua_Integer seconds = std::clamp<lua_Integer>(luaL_checkinteger(state, 2), 1, 86400);
  if (lua_gc(state, LUA_GCCOUNT) > kGarbageKibibytes) lua_gc(state, LUA_GCCOLLECT);
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
  const bool whole = readAnswer(input.get(), static_cast<std::time_t>(seconds), answer);
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
  return failure(state, "stopped: it took too much time or memory");
}

/// host.seconds() -> seconds of a clock that nobody sets
int seconds(lua_State* state) {
  lua_pushinteger(state, static_cast<lua_Integer>(monotonicSeconds()));
  return 1;
}

constexpr luaL_Reg kFunctions[] = {
    {"apart", hostFunction<apart>},
    {"seconds", hostFunction<seconds>},
    {nullptr, nullptr},
};

}  // namespace

void addApartFunctions(lua_State* state) { luaL_setfuncs(state, kFunctions, 0); }

}  // namespace LedgoraCollect
