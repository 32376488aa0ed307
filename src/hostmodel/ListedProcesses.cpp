#include "hostmodel/ListedProcesses.h"

#include <unistd.h>

#include <ctime>
#include <unordered_map>

#include "common/support/ProcessTree.h"
#include "hostmodel/ProcFileCollectionUnit.h"

namespace LedgoraCollect {
namespace {

constexpr int kStatBytes = 4096;

struct Listed {
  std::string uid;
  std::string path;
  unsigned long long ticks = 0;  // since boot, when the list was begun
};

std::unordered_map<int, Listed>& known() {
  static std::unordered_map<int, Listed> processes;
  return processes;
}

unsigned long long sBegunTicks = 0;

// As the kernel tells starts of processes.
unsigned long long ticksSinceBoot() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  const auto perSecond = static_cast<unsigned long long>(::sysconf(_SC_CLK_TCK));
  return static_cast<unsigned long long>(now.tv_sec) * perSecond +
         static_cast<unsigned long long>(now.tv_nsec) * perSecond / 1000000000ULL;
}

}  // namespace

void ListedProcesses::begin() { sBegunTicks = ticksSinceBoot(); }

void ListedProcesses::note(int pid, const std::string& uid, const std::string& path) {
  known().emplace(pid, Listed{uid, path, sBegunTicks});
}

bool ListedProcesses::isStill(int pid, const std::string& environment) {
  const auto listed = known().find(pid);
  if (listed == known().end()) return true;
  ProcFileCollectionUnit proc;
  proc.setEnvironment(environment);
  std::string line;
  ProcessNode_S node;
  return proc.getProcessPath(pid) == listed->second.path &&
         proc.readFileContent("/proc/" + std::to_string(pid) + "/stat", line, kStatBytes, 0) &&
         parseProcessStat(line, node) &&
         static_cast<unsigned long long>(node.startTicks) <= listed->second.ticks;
}

bool ListedProcesses::isUnprivileged(int pid) {
  const auto listed = known().find(pid);
  return listed != known().end() && listed->second.uid != "0";
}

}  // namespace LedgoraCollect
