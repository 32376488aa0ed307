#include "hostmodel/PsCmdCollectionUnit.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>

#include "common/PathUtils.h"
#include "common/StringUtils.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "hostmodel/ListedProcesses.h"
#include "hostmodel/PathCollectionUnit.h"
#include "hostmodel/ProcFileCollectionUnit.h"

namespace LedgoraCollect {
namespace {

// The header of 24 letters makes ps widen that column, so that long user names
// come out whole; tail cuts the header line off.
constexpr char kCommand[] =
    "ps -eo pid,ppid -o ruser=aaaabbbbccccddddeeeeffff -o "
    "uid,group,gid,tty,lstart,state,%cpu,%mem,comm 2>/dev/null | tail -n +2 | grep -E -v 'ps -eo' "
    "| grep -v grep";
constexpr int kTimeout = 60;
constexpr int kWaitStep = 5;
// Output beyond it is lost without a message; a last row that was cut has too
// few fields, or a shortened name, as consumers have always had it.
constexpr int kBufferBytes = 1048576;
// How often, and within which time, ps is asked again when it broke off.
constexpr int kAttempts = 10;
constexpr std::time_t kAttemptSeconds = 60;
// comm holds at most 15 characters, so one of that length may have been cut.
constexpr std::size_t kWholeCommLength = 14;

enum Column {
  kPid,
  kParentPid,
  kUser,
  kUid,
  kGroup,
  kGid,
  kTty,
  kWeekday,
  kMonth,
  kDay,
  kTime,
  kYear,
  kState,
  kCpu,
  kMemory,
  kComm,
  kColumns
};

constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov"};

std::time_t monotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

/// As mktime, which looks at the machine's time zone file each time: within
/// the minute of the call before, seconds only count on.
std::time_t secondsOf(std::tm time) {
  static std::tm minute = {};
  static std::time_t begin = -1;
  const bool same = begin != -1 && time.tm_min == minute.tm_min && time.tm_hour == minute.tm_hour &&
                    time.tm_mday == minute.tm_mday && time.tm_mon == minute.tm_mon &&
                    time.tm_year == minute.tm_year;
  if (!same) {
    minute = time;
    std::tm first = time;
    first.tm_sec = 0;
    begin = std::mktime(&first);
  }
  return begin == -1 ? -1 : begin + time.tm_sec;
}

int toInt(const std::string& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

void copyColumns(const std::vector<std::string>& row, ProcessCacheUnit& record) {
  record.setProcessStatus(row[kState]);
  record.setProcessCpuUsage(row[kCpu]);
  record.setUserName(row[kUser]);
  record.setUserUid(row[kUid]);
  record.setGroupName(row[kGroup]);
  record.setParentPid(toInt(row[kParentPid]));
  record.setProcessTty(row[kTty]);
  record.setProcessStartTime(PsCmdCollectionUnit::getStartTime(
      row[kTime], toInt(row[kYear]), PsCmdCollectionUnit::convertMonthNum(row[kMonth]),
      toInt(row[kDay])));
}

}  // namespace

bool PsCmdCollectionUnit::collectProcesses(std::map<int, ProcessCacheUnit>& processes) const {
  std::string text;
  ListedProcesses::begin();
  if (!executeEO(text)) return false;
  parseEOResult(text, processes);
  return true;
}

bool PsCmdCollectionUnit::executeEO(std::string& out) const {
  error_output(2, __func__, __LINE__, "[PsCmdCollectionUnit]start to execute ps -eo cmd!");
  const MallocText buffer(static_cast<char*>(std::calloc(kBufferBytes, 1)));
  if (buffer == nullptr) {
    error_output(0, __func__, __LINE__,
                 "[PsCmdCollectionUnit]execute ps -eo cmd failed, malloc error!");
    return false;
  }
  const std::time_t begun = monotonicSeconds();
  for (int attempt = 1;; ++attempt) {
    // A machine always has processes: no row means that ps didn't work.
    if (!executeCmd(kCommand, buffer.get(), kBufferBytes, kTimeout, kWaitStep, nullptr) ||
        *buffer == '\0') {
      error_output(0, __func__, __LINE__, "[PsCmdCollectionUnit]exec cmd: %s error.", kCommand);
      return false;
    }
    std::string text = buffer.get();
    const bool whole = !isBrokenOff(text);
    if (whole || text.size() > out.size()) out = std::move(text);
    if (whole) break;
    const bool last = attempt == kAttempts || monotonicSeconds() - begun >= kAttemptSeconds;
    error_output(last ? 0 : 1, __func__, __LINE__,
                 "[PsCmdCollectionUnit]ps broke off within a row, %s.",
                 last ? "processes may be missing" : "run it again");
    if (last) break;
  }
  error_output(2, __func__, __LINE__, "[PsCmdCollectionUnit]success to execute ps -eo cmd!");
  return true;
}

bool PsCmdCollectionUnit::isBrokenOff(const std::string& text) {
  if (text.size() + 1 >= static_cast<std::size_t>(kBufferBytes)) return false;
  const std::size_t end = text.find_last_not_of('\n');
  if (end == std::string::npos) return false;
  const std::size_t before = text.rfind('\n', end);
  const std::size_t start = before == std::string::npos ? 0 : before + 1;
  return StringUtils::split(text.substr(start, end + 1 - start), " ", true).size() < kComm;
}

void PsCmdCollectionUnit::parseEOResult(const std::string& text,
                                        std::map<int, ProcessCacheUnit>& processes) const {
  KnownPaths known;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    const std::vector<std::string> row = parseEORow(text.substr(start, end - start));
    start = end + 1;
    ProcessCacheUnit record;
    if (row.empty() || !completeRecord(row, known, record)) continue;
    const int pid = record.getMProcessPid();
    processes.emplace(pid, std::move(record));
  }
}

// A comm that holds blanks counts by its first word.
std::vector<std::string> PsCmdCollectionUnit::parseEORow(const std::string& line) {
  std::vector<std::string> row = StringUtils::split(line, " ", true);
  // Parent 0 is that of pid 1 and the kernel's threads, which aren't reported.
  if (row.size() < kColumns || row[kParentPid] == "0" || row[kPid].empty()) return {};
  return row;
}

bool PsCmdCollectionUnit::completeRecord(const std::vector<std::string>& row, KnownPaths& known,
                                         ProcessCacheUnit& record) const {
  const int pid = toInt(row[kPid]);
  ProcFileCollectionUnit proc;
  proc.setEnvironment(environment);
  std::string path = proc.getProcessPath(pid);
  ListedProcesses::note(pid, row[kUid], path);
  const std::string cmdline = proc.getProcessCmdline(pid);
  const auto isNothing = [&] {
    return (path.empty() && cmdline.empty()) || (path == " " && cmdline == " ");
  };
  const auto ignored = [&](int line) {
    error_output(1, "parseEOResult", line,
                 "[PsCmdCollectionUnit]Process with pid(%d) will be ignored, because "
                 "processPath(%s) and processCmdline(%s) are illegal!",
                 pid, path.c_str(), cmdline.c_str());
    return false;
  };
  if (isNothing()) return ignored(__LINE__);
  record.setProcessPid(pid);
  setContainer(record);
  if (!record.getMContainerId().empty()) path = proc.getContainerProcessPath(pid, path);
  if (!isExecutableThere(path, record, known)) path.clear();
  if (isNothing()) return ignored(__LINE__);
  record.setProcessPath(path);
  record.setProcessCmdline(cmdline);
  record.setProcessName(row[kComm].size() > kWholeCommLength ? getProcessName(path) : row[kComm]);
  copyColumns(row, record);
  record.setProcessMemoryUsage(proc.getProcessMemory(pid));
  record.setInterpreterLanguage(getInterpreterLanguage(record));
  // A script's path may be relative to its working directory.
  if (mEnvironmentsWanted || record.getMInterpreterLanguage() != "linux") {
    record.setProcessEnv(proc.getProcessEnv(pid));
  }
  record.setProcessKey(getProcessKey(record));
  record.setProcessStarArgs(getProcessArgs(record));
  record.setInterpreterPath(path);
  record.setKeyFilePath(getKeyFilePath(record));
  return true;
}

void PsCmdCollectionUnit::setContainer(ProcessCacheUnit& record) const {
  ProcFileCollectionUnit proc;
  proc.setEnvironment(environment);
  ContainerInfo info;
  if (proc.getContainerInfo(record.getMProcessPid(), info)) {
    record.setContainerId(info.containerId);
    record.setContainerPath(info.containerPath);
    record.setContainerType(info.containerType);
  }
  record.setProcessBasePath(PathUtils::addPrefixPath(environment, record.getMContainerPath()));
}

bool PsCmdCollectionUnit::isThere(const std::string& path, const ProcessCacheUnit& record) const {
  PathCollectionUnit unit;
  unit.setEnvironment(environment);
  unit.setTarget(record.getMContainerPath());
  return unit.isExist(path);
}

// Many processes run one program: outside of containers it is looked for once.
bool PsCmdCollectionUnit::isExecutableThere(const std::string& path, const ProcessCacheUnit& record,
                                            KnownPaths& known) const {
  if (!record.getMContainerPath().empty()) return isThere(path, record);
  const auto found = known.find(path);
  if (found != known.end()) return found->second;
  return known.emplace(path, isThere(path, record)).first->second;
}

std::string PsCmdCollectionUnit::getProcessName(const std::string& path) {
  const std::vector<std::string> parts = StringUtils::split(path, "/", false);
  return parts.empty() ? "" : parts.back();
}

// The daylight saving flag stays 0, so a time in summer comes out as if it were
// winter time, and a text that is no time gives what an empty tm gives.
// Consumers compare these values between runs; leave them.
std::uint64_t PsCmdCollectionUnit::getStartTime(const std::string& timeText, int year, int month,
                                                int day) {
  if (timeText.empty()) return 0;
  char text[64];
  std::snprintf(text, sizeof text, "%d/%d/%d %s", year, month, day, timeText.c_str());
  std::tm time = {};
  strptime(text, "%Y/%m/%d %H:%M:%S", &time);
  return static_cast<std::uint64_t>(secondsOf(time));
}

// Unknown words count as December, too.
int PsCmdCollectionUnit::convertMonthNum(const std::string& monthText) {
  int month = 1;
  for (const char* name : kMonths) {
    if (monthText == name) break;
    ++month;
  }
  return month;
}

}  // namespace LedgoraCollect
