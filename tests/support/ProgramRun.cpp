#include "support/ProgramRun.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "common/support/Handles.h"
#include "support/ProcessorGroup.h"

namespace fs = std::filesystem;
using LedgoraCollect::FileDescriptor;

namespace LedgoraTest {

namespace {

struct Pipe {
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category());
    reader.reset(ends[0]);
    writer.reset(ends[1]);
  }
  FileDescriptor reader;
  FileDescriptor writer;
};

[[noreturn]] void becomeProgram(const std::vector<std::string>& arguments,
                                const std::map<std::string, std::string>& environment,
                                const std::function<void()>& inChild, int out, int err) {
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  std::vector<char*> words;
  for (const std::string& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  if (inChild) inChild();
  execv(words[0], words.data());
  _exit(127);
}

/// Reads both to their ends.
void drain(int first, std::string& firstText, int second, std::string& secondText) {
  pollfd waits[] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
  std::string* texts[] = {&firstText, &secondText};
  while (waits[0].fd >= 0 || waits[1].fd >= 0) {
    if (poll(waits, 2, -1) < 0) continue;
    for (int i = 0; i < 2; ++i) {
      if (waits[i].fd < 0 || waits[i].revents == 0) continue;
      char buffer[65536];
      const ssize_t count = read(waits[i].fd, buffer, sizeof buffer);
      if (count > 0) texts[i]->append(buffer, static_cast<std::size_t>(count));
      if (count == 0 || (count < 0 && errno != EINTR)) waits[i].fd = -1;
    }
  }
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// A hard link where the file systems allow it: the program is large.
void linkTree(const fs::path& from, const fs::path& to) {
  if (!fs::exists(from)) return;
  fs::create_directories(to);
  for (const auto& entry : fs::recursive_directory_iterator(from)) {
    const fs::path target = to / fs::relative(entry.path(), from);
    if (entry.is_directory()) {
      fs::create_directories(target);
      continue;
    }
    std::error_code failed;
    fs::create_hard_link(entry.path(), target, failed);
    if (failed) fs::copy_file(entry.path(), target);
  }
}

}  // namespace

std::string ProgramResult::messages() const {
  std::istringstream records(log);
  std::string all;
  for (std::string record; std::getline(records, record);) {
    std::istringstream fields(record);
    std::string time, level, pid, place, message;
    fields >> time >> level >> pid >> place;
    std::getline(fields, message);
    all += level + message + "\n";
  }
  return all;
}

int ProgramResult::count(const std::string& text) const {
  std::istringstream records(log);
  int found = 0;
  for (std::string record; std::getline(records, record);) {
    if (record.find(text) != std::string::npos) ++found;
  }
  return found;
}

ProgramResult runProgram(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& environment,
                         const std::function<void()>& inChild) {
  Pipe out;
  Pipe err;
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0)
    becomeProgram(arguments, environment, inChild, out.writer.get(), err.writer.get());
  out.writer.reset();
  err.writer.reset();
  ProgramResult result;
  drain(out.reader.get(), result.out, err.reader.get(), result.err);
  int status = 0;
  rusage usage{};
  while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.seconds = elapsed.count();
  result.cpuSeconds = seconds(usage.ru_utime) + seconds(usage.ru_stime);
  result.peakKib = usage.ru_maxrss;
  return result;
}

ProgramRun::ProgramRun() {
  const fs::path built = LEDGORA_TEST_TREE;
  const fs::path tree = mTree.path();
  for (const char* programs : {"bin", "libexec", "lib"})
    linkTree(built / programs, tree / programs);
  for (const char* files : {"config", "scripts"}) {
    if (fs::exists(built / files)) {
      fs::copy(built / files, tree / files, fs::copy_options::recursive);
    }
  }
  fs::copy_file(built / "agent_version.json", tree / "agent_version.json");
}

ProgramRun& ProgramRun::environment(const std::string& name, const std::string& value) {
  mEnvironment[name] = value;
  return *this;
}

ProgramRun& ProgramRun::inChild(std::function<void()> action) {
  mInChild = std::move(action);
  return *this;
}

ProgramResult ProgramRun::run(const std::vector<std::string>& arguments) {
  const std::string log = "var/log/ledgora-agent/collect.log";
  const std::size_t before = mTree.read(log).size();
  fs::remove(documentPath());
  std::vector<std::string> words = {program()};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const ProcessorGroup group;
  ProgramResult result = runProgram(words, mEnvironment, [&] {
    group.enter();
    if (mInChild) mInChild();
  });
  result.hasDocument = fs::exists(documentPath());
  result.document = readWhole(documentPath());
  const std::string after = mTree.read(log);
  result.log = after.substr(std::min(before, after.size()));
  return result;
}

ProgramResult ProgramRun::type(int type, const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {"type=" + std::to_string(type), "path=" + documentPath()};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return run(arguments);
}

}  // namespace LedgoraTest
