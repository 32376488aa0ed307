#include "common/support/ProcessTree.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <unordered_map>
#include <unordered_set>

#include "common/support/Handles.h"

namespace LedgoraCollect {

namespace {

template <class Number>
bool toNumber(std::string_view text, Number& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

std::string_view nextWord(std::string_view& text) {
  const std::size_t begin = std::min(text.find_first_not_of(" \n"), text.size());
  const std::size_t end = std::min(text.find_first_of(" \n", begin), text.size());
  const std::string_view word = text.substr(begin, end - begin);
  text.remove_prefix(end);
  return word;
}

/// One read of a small file of /proc; -1 if it can't be read.
ssize_t readSmall(const std::string& path, char* buffer, std::size_t size) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return file ? ::read(file.get(), buffer, size) : -1;
}

bool isStill(const ProcessNode_S& node) {
  ProcessNode_S now;
  return readProcessNode(node.pid, now) && now.startTicks == node.startTicks;
}

}  // namespace

bool parseProcessStat(std::string_view line, ProcessNode_S& node) {
  const std::size_t nameEnd = line.rfind(')');
  const std::size_t nameBegin = line.find('(');
  if (nameBegin == std::string_view::npos || nameEnd == std::string_view::npos) return false;
  std::string_view head = line.substr(0, nameBegin);
  if (!toNumber(nextWord(head), node.pid)) return false;
  std::string_view rest = line.substr(nameEnd + 1);
  nextWord(rest);  // state
  if (!toNumber(nextWord(rest), node.parent)) return false;
  if (!toNumber(nextWord(rest), node.group)) return false;
  constexpr int kBetweenGroupAndStart = 16;
  for (int i = 0; i < kBetweenGroupAndStart; ++i) nextWord(rest);
  return toNumber(nextWord(rest), node.startTicks);
}

bool readProcessNode(pid_t pid, ProcessNode_S& node) {
  char line[1024];
  const ssize_t count = readSmall("/proc/" + std::to_string(pid) + "/stat", line, sizeof line);
  return count > 0 && parseProcessStat({line, static_cast<std::size_t>(count)}, node);
}

std::vector<ProcessNode_S> readProcesses() {
  std::vector<ProcessNode_S> processes;
  const DirHandle directory(::opendir("/proc"));
  if (directory == nullptr) return processes;
  while (const dirent* entry = ::readdir(directory.get())) {
    pid_t pid = 0;
    ProcessNode_S node;
    if (toNumber(std::string_view(entry->d_name), pid) && readProcessNode(pid, node)) {
      processes.push_back(node);
    }
  }
  return processes;
}

std::vector<ProcessNode_S> descendantsOf(pid_t ancestor,
                                         const std::vector<ProcessNode_S>& processes) {
  std::unordered_multimap<pid_t, const ProcessNode_S*> children;
  for (const ProcessNode_S& node : processes) {
    if (node.pid != node.parent) children.emplace(node.parent, &node);
  }
  std::vector<ProcessNode_S> found;
  std::unordered_set<pid_t> seen{ancestor};
  std::vector<pid_t> open{ancestor};
  while (!open.empty()) {
    const auto range = children.equal_range(open.back());
    open.pop_back();
    for (auto child = range.first; child != range.second; ++child) {
      if (!seen.insert(child->second->pid).second) continue;
      found.push_back(*child->second);
      open.push_back(child->second->pid);
    }
  }
  return found;
}

bool procShowsOurNamespace() {
  char target[32];
  const ssize_t length = ::readlink("/proc/self", target, sizeof target);
  if (length <= 0) return false;
  pid_t self = 0;
  ProcessNode_S node;
  // In a mismatched namespace the own number may agree by chance; the parent's
  // then hardly does as well.
  return toNumber(std::string_view(target, static_cast<std::size_t>(length)), self) &&
         self == ::getpid() && readProcessNode(self, node) && node.parent == ::getppid();
}

std::size_t signalDescendants(int signalNumber) {
  const pid_t self = ::getpid();
  const pid_t ownGroup = ::getpgrp();
  const std::vector<ProcessNode_S> descendants = descendantsOf(self, readProcesses());
  std::unordered_set<pid_t> signalled;
  for (const ProcessNode_S& node : descendants) {
    const bool byGroup = node.group > 1 && node.group != ownGroup;
    if (byGroup && signalled.count(node.group) != 0) continue;
    if (!isStill(node)) continue;
    // A whole group at once: nothing in it can fork meanwhile.
    ::kill(byGroup ? -node.group : node.pid, signalNumber);
    if (byGroup) signalled.insert(node.group);
  }
  return descendants.size();
}

bool killDirectChildren() {
  const std::string self = std::to_string(::getpid());
  const std::string path = "/proc/self/task/" + self + "/children";
  char text[4096];
  const ssize_t count = readSmall(path, text, sizeof text);
  if (count < 0) return false;
  std::string_view rest(text, static_cast<std::size_t>(count));
  // A number cut at the buffer's end would name another process.
  if (rest.size() == sizeof text) rest = rest.substr(0, rest.rfind(' ') + 1);
  pid_t child = 0;
  // A child that we haven't waited for keeps its number, so there is nothing to compare.
  while (toNumber(nextWord(rest), child)) ::kill(child, SIGKILL);
  return true;
}

}  // namespace LedgoraCollect
