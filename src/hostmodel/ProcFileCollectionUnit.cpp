#include "hostmodel/ProcFileCollectionUnit.h"

#include <unistd.h>

#include <charconv>

#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "hostmodel/ContainerName.h"

namespace LedgoraCollect {
namespace {

constexpr int kMaximumBytes = 65536;
constexpr char kBlanks[] = " \r\n\t";
constexpr char kDigits[] = "0123456789";
constexpr char kNoMemory[] = "0kB";

std::string procPath(int pid, const char* member) {
  return "/proc/" + std::to_string(pid) + "/" + member;
}

bool findMemoryLine(const std::string& line, std::string& out) {
  if (line.find("VmRSS:") == std::string::npos) return false;
  out = line;
  return true;
}

bool processCgroupParser(const std::string& line, std::string& out) {
  if (line.find("name=systemd") == std::string::npos) return false;
  out = line;
  return true;
}

}  // namespace

std::string ProcFileCollectionUnit::getProcessPath(int pid) const {
  const std::string link = environment + procPath(pid, "exe");
  std::string path;
  if (readlinkInspected(link, path)) return path;
  if (PathUtils::isSlink(link)) {
    LEDGORA_DEBUG("read link : %s error.", link.c_str());
  } else {
    error_output(0, __func__, __LINE__, "exe file is not link.");
  }
  return {};
}

std::string ProcFileCollectionUnit::getContainerProcessPath(int pid,
                                                            const std::string& path) const {
  std::string root;
  if (!readlinkInspected(environment + procPath(pid, "root"), root) || root == "/" ||
      path.compare(0, root.size() + 1, root + "/") != 0) {
    return path;
  }
  return path.substr(root.size());
}

std::string ProcFileCollectionUnit::getProcessCmdline(int pid) const {
  std::string text;
  if (!readFileContent(procPath(pid, "cmdline"), text, kMaximumBytes, ' ')) return {};
  return StringUtils::trim(text, kBlanks);
}

// The kernel writes the status text of a process at several times the cost of
// this one, which holds the same figure in pages. A root may have been given
// the one without the other, so there the text that is asked for counts.
bool ProcFileCollectionUnit::readResidentPages(int pid, std::string& memory) const {
  std::string text;
  if (!environment.empty() || !readFileContent(procPath(pid, "statm"), text, kMaximumBytes, 0)) {
    return false;
  }
  const std::size_t blank = text.find(' ') + 1;
  unsigned long long pages = 0;
  const char* const begin = text.data() + blank;
  const auto parsed = std::from_chars(begin, text.data() + text.size(), pages);
  if (blank == 0 || parsed.ec != std::errc()) return false;
  static const auto pageKib = static_cast<unsigned long long>(::sysconf(_SC_PAGESIZE)) / 1024;
  memory = std::to_string(pages * pageKib) + "kB";
  return true;
}

std::string ProcFileCollectionUnit::getProcessMemory(int pid) const {
  std::string memory;
  if (readResidentPages(pid, memory)) return memory;
  std::string line;
  if (!readFileLines(procPath(pid, "status"), findMemoryLine, line)) return kNoMemory;
  return parseMemoryLine(line);
}

std::string ProcFileCollectionUnit::parseMemoryLine(const std::string& line) {
  const std::size_t start = line.find_first_of(kDigits);
  if (start == std::string::npos) {
    error_output(1, __func__, __LINE__, "regex_interface line: %s pattern: %s error.", line.c_str(),
                 "[\\d]+");
    return kNoMemory;
  }
  const std::size_t end = line.find_first_not_of(kDigits, start);
  return line.substr(start, end - start) + "kB";
}

std::map<std::string, std::string> ProcFileCollectionUnit::getProcessEnv(int pid) const {
  std::string text;
  if (!readFileContent(procPath(pid, "environ"), text, kMaximumBytes, ';')) return {};
  return parseEnviron(text);
}

// Variables are told apart by ";", so a value that holds one ends there and
// its tail counts as a variable of its own. Rules are written for that.
std::map<std::string, std::string> ProcFileCollectionUnit::parseEnviron(const std::string& text) {
  std::map<std::string, std::string> variables;
  for (const std::string& field : StringUtils::split(text, ";", false)) {
    const std::size_t equals = field.find('=');
    if (equals == std::string::npos) continue;
    variables.emplace(field.substr(0, equals), field.substr(equals + 1));
  }
  return variables;
}

bool ProcFileCollectionUnit::getContainerInfo(int pid, ContainerInfo& info) const {
  const std::string number = std::to_string(pid);
  const std::string path = "/proc/" + number + "/task/" + number + "/cgroup";
  std::string line;
  if (!readFileLines(path, processCgroupParser, line)) {
    error_output(1, __func__, __LINE__, "read file lines failed %s", path.c_str());
    return false;
  }
  if (!paramContainerInfo(line, info)) {
    error_output(1, __func__, __LINE__, "param container info failed pid is %d", pid);
    return false;
  }
  info.containerPath = procPath(pid, "root");
  error_output(2, __func__, __LINE__,
               "get container info pid is %d container id is %s container type is %s", pid,
               info.containerId.c_str(), info.containerType.c_str());
  return true;
}

bool ProcFileCollectionUnit::paramContainerInfo(const std::string& line, ContainerInfo& info) {
  const std::size_t slash = line.rfind('/');
  if (slash == std::string::npos) {
    error_output(1, __func__, __LINE__, "characterLine is invalid %s", line.c_str());
    return false;
  }
  const std::string name = line.substr(slash + 1);
  if (name.size() < kContainerIdLength) {
    error_output(1, __func__, __LINE__, "container length is invalid %zu", name.size());
    return false;
  }
  if (!checkContainerType(name, info)) {
    error_output(1, __func__, __LINE__, "check contained info failed subLine is %s", name.c_str());
    return false;
  }
  return true;
}

}  // namespace LedgoraCollect
