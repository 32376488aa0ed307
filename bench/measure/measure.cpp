// measure ROUNDS COMMAND... [-- COMMAND...]: runs the commands alternately,
// ROUNDS times each, and prints a line for each: median and worst processor
// time in microseconds, peak memory in KiB, failed runs, and whether the
// output was a number. This program is small on purpose: a child's peak counts
// from the process that forked it.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Command {
  std::vector<char*> words;
  std::vector<long> microseconds;
  long peakKib = 0;
  int failed = 0;
  bool number = true;
};

long microseconds(const timeval& time) { return time.tv_sec * 1000000 + time.tv_usec; }

[[noreturn]] void become(const Command& command, int output) {
  const int null = open("/dev/null", O_RDWR);
  dup2(null, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(null, STDERR_FILENO);
  execvp(command.words[0], command.words.data());
  _exit(127);
}

bool readsANumber(int output) {
  char buffer[65536];
  bool number = false;
  for (ssize_t count; (count = read(output, buffer, sizeof buffer)) > 0;) {
    number = std::all_of(buffer, buffer + count, [](char c) { return c >= '0' && c <= '9'; });
  }
  return number;
}

void runOnce(Command& command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) std::exit(1);
  const pid_t child = fork();
  if (child == 0) become(command, ends[1]);
  close(ends[1]);
  command.number = readsANumber(ends[0]) && command.number;
  close(ends[0]);
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child) std::exit(1);
  command.microseconds.push_back(microseconds(usage.ru_utime) + microseconds(usage.ru_stime));
  command.peakKib = std::max(command.peakKib, usage.ru_maxrss);
  if (status != 0) ++command.failed;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  std::vector<Command> commands(1);
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") == 0) {
      commands.emplace_back();
    } else {
      commands.back().words.push_back(argv[i]);
    }
  }
  for (Command& command : commands) command.words.push_back(nullptr);
  for (int round = std::atoi(argv[1]); round > 0; --round) {
    for (Command& command : commands) runOnce(command);
  }
  for (Command& command : commands) {
    std::sort(command.microseconds.begin(), command.microseconds.end());
    std::printf("%ld %ld %ld %d %d\n", command.microseconds[command.microseconds.size() / 2],
                command.microseconds.back(), command.peakKib, command.failed, command.number);
  }
  return 0;
}
