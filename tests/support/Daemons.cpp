#include "support/Daemons.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <functional>

#include "common/support/Handles.h"
#include "support/TempRoot.h"

namespace LedgoraTest {
namespace {

using LedgoraCollect::DirHandle;
using LedgoraCollect::FileDescriptor;

std::vector<char*> pointers(const std::vector<std::string>& words) {
  std::vector<char*> out;
  for (const std::string& word : words) out.push_back(const_cast<char*>(word.c_str()));
  out.push_back(nullptr);
  return out;
}

[[noreturn]] void becomeDaemon(const std::string& program, const std::vector<std::string>& words,
                               const std::vector<std::string>& variables,
                               const DaemonOptions& options) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  setsid();
  const int nothing = open("/dev/null", O_RDWR);
  for (int stream = 0; stream < 3; ++stream) dup2(nothing, stream);
  if (options.uid != 0 && (setgroups(0, nullptr) != 0 || setgid(options.uid) != 0)) _exit(126);
  if (options.uid != 0 && setuid(options.uid) != 0) _exit(126);
  if (chdir(options.directory.c_str()) != 0) _exit(126);
  execve(program.c_str(), pointers(words).data(), pointers(variables).data());
  _exit(127);
}

bool within20Seconds(const std::function<bool()>& condition) {
  for (int tries = 0; tries < 400; ++tries) {
    if (condition()) return true;
    usleep(50000);
  }
  return false;
}

}  // namespace

Daemons::~Daemons() {
  while (!mPids.empty()) stop(mPids.back());
}

pid_t Daemons::start(const std::string& program, const std::vector<std::string>& arguments,
                     const DaemonOptions& options) {
  std::vector<std::string> words = {program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables;
  for (const auto& [name, value] : options.environment) variables.push_back(name + "=" + value);
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const FileDescriptor reader(ends[0]);
  FileDescriptor writer(ends[1]);
  const pid_t pid = fork();
  if (pid == 0) becomeDaemon(program, words, variables, options);
  writer.reset();
  char nothing;
  EXPECT_EQ(read(reader.get(), &nothing, 1), 0);  // closed by the start of the program
  EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), 0) << program << " could not be started";
  mPids.push_back(pid);
  return pid;
}

void Daemons::stop(pid_t pid) {
  mPids.erase(std::remove(mPids.begin(), mPids.end(), pid), mPids.end());
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

bool isListening(int port) {
  return within20Seconds([port] {
    const FileDescriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connect(client.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  });
}

bool hasProcesses(const std::string& name, int count) {
  return within20Seconds([&] {
    int found = 0;
    const DirHandle proc(opendir("/proc"));
    while (const dirent* entry = readdir(proc.get())) {
      if (readWhole(std::string("/proc/") + entry->d_name + "/comm") == name + "\n") ++found;
    }
    return found >= count;
  });
}

}  // namespace LedgoraTest
