#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "common/support/CommandGuard.h"
#include "common/support/CommandRunner.h"

namespace LedgoraCollect {
namespace {

constexpr int kLimit = 20;  // seconds that no test should need

/// A word that is in the command line of every process of one test's command.
std::string freshMarker() {
  static int count = 0;
  return "runner-marker-" + std::to_string(getpid()) + "-" + std::to_string(++count);
}

/// Processes whose command line holds the marker; zombies have none, so
/// children of ours that weren't reaped are asked for by waitpid.
int countProcesses(const std::string& marker) {
  int found = 0;
  DIR* directory = opendir("/proc");
  while (const dirent* entry = readdir(directory)) {
    std::ifstream file(std::string("/proc/") + entry->d_name + "/cmdline");
    std::stringstream text;
    text << file.rdbuf();
    if (text.str().find(marker) != std::string::npos) ++found;
  }
  closedir(directory);
  return found;
}

bool hasChildren() { return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD; }

struct Ran {
  int result = 1;
  std::string out;
  std::int64_t ms = 0;
};

Ran run(const std::string& command, int timeout = kLimit, int waitStep = 1, int size = 4096) {
  std::string buffer(static_cast<std::size_t>(size), 'x');
  Ran ran;
  const std::int64_t start = monotonicMs();
  ran.result = execute_plus(command.c_str(), buffer.data(), size, timeout, waitStep);
  ran.ms = monotonicMs() - start;
  ran.out = buffer.c_str();
  return ran;
}

TEST(CommandRunner, OutputAndResult) {
  const struct {
    const char* what;
    const char* command;
    int size;
    int result;
    const char* out;
  } cases[] = {
      {"plain", "echo one; echo two", 64, 0, "one\ntwo\n"},
      {"exit status doesn't matter", "echo out; exit 3", 64, 0, "out\n"},
      {"no such program", "/no/such/program", 64, 0, ""},
      {"standard error isn't output", "echo err >&2; echo out", 64, 0, "out\n"},
      {"unless redirected", "(echo err >&2) 2>&1", 64, 0, "err\n"},
      {"one byte short of size", "printf 1234567", 8, 0, "1234567"},
      {"exactly size", "printf 12345678", 8, 0, "1234567"},
      {"beyond size", "printf 123456789; echo on", 8, 0, "1234567"},
      {"room for the terminator only", "echo on", 1, 0, ""},
      {"killed by a signal", "echo a; kill -9 $$", 64, 0, "a\n"},
      {"standard input is empty", "cat; echo end", 64, 0, "end\n"},
      {"working directory", "pwd", 64, 0, "/\n"},
      {"output closed early", "exec >&-; sleep 0.05", 64, 0, ""},
      {"shell gives way to another program", "exec echo a", 64, 0, "a\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Ran ran = run(c.command, kLimit, 1, c.size);
    EXPECT_EQ(ran.result, c.result);
    EXPECT_EQ(ran.out, c.out);
  }
  EXPECT_FALSE(hasChildren());
}

TEST(CommandRunner, RefusesWhatItCannotDo) {
  char buffer[4] = "abc";
  EXPECT_LT(execute_plus(nullptr, buffer, 4, 1, 1), 0);
  EXPECT_LT(execute_plus("true", nullptr, 4, 1, 1), 0);
  EXPECT_LT(execute_plus("true", buffer, 0, 1, 1), 0);
  EXPECT_STREQ(buffer, "abc");
  const std::string tooLong(3 << 20, 'a');  // beyond what the kernel takes as one argument
  EXPECT_EQ(execute_plus(tooLong.c_str(), buffer, 4, kLimit, 1), kCommandNotStarted);
  EXPECT_FALSE(hasChildren());
}

TEST(CommandRunner, EnvironmentStringSetsOneVariable) {
  setenv("RUNNER_TEST", "inherited", 1);
  const struct {
    const char* what;
    const char* environment;
    const char* out;
  } cases[] = {
      {"none", nullptr, "inherited|"},
      {"replaces", "RUNNER_TEST=new;", "new|"},
      {"without the last semicolon", "RUNNER_TEST=new", "new|"},
      {"only one is taken off", "RUNNER_TEST=new;;", "new;|"},
      {"a semicolon starts no other variable", "RUNNER_TEST=/a;RUNNER_OTHER=/b;",
       "/a;RUNNER_OTHER=/b|"},
      {"equals in the value", "RUNNER_TEST=a=b;", "a=b|"},
      {"empty value", "RUNNER_TEST=;", "|"},
      {"no name", "=new;", "inherited|"},
      {"no equals", "RUNNER_TEST", "inherited|"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    char buffer[64];
    EXPECT_EQ(execute_plus_env_cv_loop(c.environment, "printf '%s|' \"$RUNNER_TEST\" $RUNNER_OTHER",
                                       buffer, sizeof buffer, kLimit, 1, 0),
              0);
    EXPECT_STREQ(buffer, c.out);
  }
  unsetenv("RUNNER_TEST");
}

TEST(CommandRunner, CommandsInARootSeeNothingOfTheTool) {
  setenv("RUNNER_SECRET", "s", 1);
  setenv("LEDGORA_START_TIME", "12", 1);
  CommandRequest request;
  request.command = "/usr/bin/env | grep -E '^(RUNNER|LEDGORA|PATH)' | sort";
  request.environment = "PATH=/usr/bin:/bin;";
  request.timeoutSeconds = kLimit;
  request.options.variables = CommandVariables::Own;
  char buffer[256];
  EXPECT_EQ(runCommandIntoBuffer(request, buffer, sizeof buffer), 0);
  EXPECT_STREQ(buffer, "LEDGORA_START_TIME=12\nPATH=/usr/bin:/bin\n");
  unsetenv("RUNNER_SECRET");
  unsetenv("LEDGORA_START_TIME");
}

TEST(CommandRunner, InheritsNoDescriptorAndNoSignalState) {
  const int leaked = open("/etc/passwd", O_RDONLY);  // as a careless parent leaves one
  ASSERT_GE(leaked, 0);
  signal(SIGPIPE, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  sigprocmask(SIG_BLOCK, &blocked, nullptr);
  const Ran descriptors =
      run("for f in 0 1 2 3 4 5 6 7 8 9 10 11 12; do [ -e /proc/$$/fd/$f ] && echo $f; done");
  const Ran state = run("sed -n '/^Sig[BIC][lg][knt]:/p' /proc/self/status");
  const Ran group = run("cut -d' ' -f5 /proc/$$/stat; echo $$");
  sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
  signal(SIGPIPE, SIG_DFL);
  close(leaked);
  EXPECT_EQ(descriptors.out, "0\n1\n2\n");
  EXPECT_EQ(state.out,
            "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\nSigCgt:\t0000000000000000\n");
  const std::size_t half = group.out.size() / 2;
  EXPECT_EQ(group.out.substr(0, half), group.out.substr(half)) << "leads its process group";
}

TEST(CommandRunner, WorksWithStandardDescriptorsClosedAndChildrenIgnored) {
  const pid_t child = fork();
  if (child == 0) {
    signal(SIGCHLD, SIG_IGN);
    for (int descriptor = 0; descriptor < 3; ++descriptor) close(descriptor);
    const Ran ran = run("echo fine");
    _exit(ran.result == 0 && ran.out == "fine\n" ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

/// Whatever a command leaves or holds open, nothing of it is left afterwards.
TEST(CommandRunner, NothingIsLeftRunning) {
  const struct {
    const char* what;
    const char* command;  // "MARK" stands for the marker
    int timeout;
    int result;
    const char* out;
  } cases[] = {
      {"outlives its limit", "echo a; sleep 100; : MARK", 1, -110, "a\n"},
      {"ignores SIGTERM", "trap '' TERM; echo a; while :; do sleep 100; : MARK; done", 1, -110,
       "a\n"},
      {"background child holds the pipe", "(sleep 100; : MARK) & echo a", kLimit, 0, "a\n"},
      {"session of its own", "setsid sh -c 'sleep 100; : MARK' & echo a; sleep 0.1", kLimit, 0,
       "a\n"},
      {"daemon by two forks",
       "setsid sh -c '(trap \"\" TERM HUP; sleep 100; : MARK) & (sleep 101; : MARK) &'; echo a",
       kLimit, 0, "a\n"},
      {"output closed, still running", "exec >&-; (sleep 100; : MARK) & sleep 0.05", kLimit, 0, ""},
      {"stopped, at its limit", "echo a; sh -c 'kill -STOP $$; : MARK'; : MARK", 1, -110, "a\n"},
      {"stopped, in the background", "sh -c 'kill -STOP $$; : MARK' & sleep 0.1; echo a", kLimit, 0,
       "a\n"},
      {"50 at once, each with a session of its own",
       "i=0; while [ $i -lt 50 ]; do setsid sh -c 'sleep 100; : MARK' & i=$((i+1)); done; echo a",
       kLimit, 0, "a\n"},
      {"a chain of 50",
       "n() { [ $1 -gt 0 ] && { n $(($1-1)) & sleep 100; : MARK; }; }; n 50 & "
       "sleep 0.2; echo a",
       kLimit, 0, "a\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string marker = freshMarker();
    std::string command = c.command;
    for (std::size_t at = 0; (at = command.find("MARK")) != std::string::npos;) {
      command.replace(at, 4, marker);
    }
    const Ran ran = run(command, c.timeout, 1);
    EXPECT_EQ(ran.result, c.result);
    EXPECT_EQ(ran.out, c.out);
    EXPECT_LT(ran.ms, 10000);
    EXPECT_EQ(countProcesses(marker), 0);
    EXPECT_FALSE(hasChildren());
  }
}

/// One process at a time that forks and exits on and on, in a new session each
/// time: no walk over /proc ever sees the one that lives.
TEST(CommandRunner, EndsAProcessThatForksAwayAllTheTime) {
  const std::string marker = freshMarker();
  // Ends by itself should the runner fail.
  const std::string script =
      "use POSIX; $| = 1; print qq(on\n); for (1..200000) { exit if fork; POSIX::setsid(); } # ";
  const Ran ran = run("perl -e '" + script + marker + "' & sleep 0.3");
  EXPECT_EQ(ran.result, 0);
  EXPECT_EQ(ran.out, "on\n");
  EXPECT_EQ(countProcesses(marker), 0);
  EXPECT_FALSE(hasChildren());
}

TEST(CommandRunner, GraceEndsWhenTheCommandDoes) {
  const Ran ran = run("trap 'echo bye; exit' TERM; sleep 100 & wait", 1, 10);
  EXPECT_EQ(ran.result, kCommandStopped);
  EXPECT_EQ(ran.out, "bye\n");
  EXPECT_LT(ran.ms, 9000);
}

TEST(CommandRunner, OutputBeyondTheBufferIsDropped) {
  rusage before{};
  getrusage(RUSAGE_SELF, &before);
  const Ran ran = run("echo first; head -c 1073741824 /dev/zero", 120, 1, 4096);
  rusage after{};
  getrusage(RUSAGE_SELF, &after);
  EXPECT_EQ(ran.result, 0);
  EXPECT_EQ(ran.out, "first\n");
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 4096) << "KiB";
}

TEST(CommandRunner, OtherChildrenAreNotTouched) {
  const std::string marker = freshMarker();
  const pid_t other = fork();
  if (other == 0) {
    setpgid(0, 0);
    const std::string line = "(sleep 100; : " + marker + ") & sleep 100; : " + marker;
    execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    _exit(1);
  }
  while (countProcesses(marker) < 2) usleep(1000);
  EXPECT_EQ(run("sleep 100 & setsid sleep 100 & echo a").result, 0);
  EXPECT_EQ(run("sleep 100", 1).result, kCommandStopped);
  EXPECT_EQ(countProcesses(marker), 2);
  EXPECT_EQ(waitpid(other, nullptr, WNOHANG), 0) << "still runs";
  kill(-other, SIGKILL);
  waitpid(other, nullptr, 0);
}

TEST(CommandRunner, AKilledToolLeavesNothingBehind) {
  const std::string marker = freshMarker();
  const pid_t tool = fork();
  if (tool == 0) {
    run("trap '' TERM HUP; setsid sh -c 'sleep 100; : " + marker + "' & sleep 100; : " + marker);
    _exit(0);
  }
  while (countProcesses(marker) < 2) usleep(1000);
  kill(tool, SIGKILL);
  waitpid(tool, nullptr, 0);
  // A look at /proc can miss a process that is just being ended, so none must
  // be seen several times in a row.
  int quiet = 0;
  for (int i = 0; i < 5000 && quiet < 50; ++i) {
    quiet = countProcesses(marker) == 0 ? quiet + 1 : 0;
    usleep(1000);
  }
  EXPECT_EQ(quiet, 50);
}

int failAfterFirst(int descriptor, void* context) {
  char text[16];
  if ((*static_cast<int*>(context))++ == 0) return static_cast<int>(read(descriptor, text, 16));
  errno = ENOMEM;
  return -1;
}

TEST(CommandRunner, AReaderThatFailsEndsTheCommand) {
  int calls = 0;
  const std::int64_t start = monotonicMs();
  EXPECT_EQ(execute_plus_cb("yes", kLimit, 1, failAfterFirst, &calls, nullptr), -ENOMEM);
  EXPECT_EQ(calls, 2);
  EXPECT_LT(monotonicMs() - start, 10000);
  EXPECT_FALSE(hasChildren());
}

}  // namespace
}  // namespace LedgoraCollect
