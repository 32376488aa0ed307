// A server for the tests: `daemon [WORKERS]` starts that many workers and
// waits; `daemon --version` or `-v` tells a version and leaves a mark in
// "<program>.ran". With a file "<program>.hang" it never tells it.
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

int main(int count, char** words) {
  char path[4096] = {};
  const bool known = readlink("/proc/self/exe", path, sizeof path - 1) > 0;
  const std::string program = known ? path : words[0];
  const std::string word = count > 1 ? words[1] : "";
  if (word == "--version" || word == "-v") {
    const int mark = open((program + ".ran").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    if (mark >= 0 && write(mark, "x", 1) != 1) return 1;
    if (access((program + ".hang").c_str(), F_OK) == 0) pause();
    constexpr char kVersion[] = "server version 1.2.3\n";
    return write(1, kVersion, sizeof kVersion - 1) > 0 ? 0 : 1;
  }
  for (int i = std::atoi(word.c_str()); i > 0; --i) {
    if (fork() == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      break;
    }
  }
  for (;;) pause();
}
