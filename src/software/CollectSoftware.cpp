#include "software/CollectSoftware.h"

#include "collect/CollectSystemInfo.h"
#include "common/support/Log.h"
#include "software/InstallSoftware.h"
#include "software/ProcSoftware.h"

namespace LedgoraCollect {
namespace {

// Modes of softOutput, in the order of the list's groups.
constexpr int kRunning = 1;
constexpr int kKnown = 2;
constexpr int kAll = 4;
constexpr int kCacheFirst = 1;  // bit of the run's option

bool isTaken(const SOFTWARE_EX_S& soft, int mode) {
  return (mode & kAll) != 0 || ((mode & kRunning) != 0 && !soft.relatedProcs.empty()) ||
         ((mode & kKnown) != 0 && !soft.id.empty());
}

int environmentTypeOf(const std::string& containerType) {
  if (containerType == "docker") return 1;
  return containerType == "containerd" ? 2 : 0;
}

MAJOR_PROCESS_S toMajorProcess(const SOFTWARE_MAJOR_PROC_INFO_S& proc) {
  MAJOR_PROCESS_S major{proc.name, proc.confPath, proc.version, proc.processKey, proc.pid, {}};
  for (const SUBPROCESS_INFO_S& sub : proc.subProcesses) {
    major.subProcesses.push_back({sub.pid, sub.processKey});
  }
  return major;
}

}  // namespace

bool CollectSoftware::collectImple(cJSON* json) {
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]collect soft start!");
  if ((getOption() & kCacheFirst) != 0 && ProcSoftware::checkSoftwareCache()) return true;
  getAllSoftware();
  if (mSoftware.empty()) {
    error_output(0, __func__, __LINE__,
                 "[COLLECT SOFT]no software collected, collect software failed");
  }
  CollectSystemInfo system;
  system.setEnv(getMEnv());
  mHostType = system.getHostType();
  std::vector<SOFT_INFO_S> list;
  for (const int mode : {kRunning, kKnown, kAll}) softOutput(list, mode);
  const int result = dataToJson(&list, json);
  if (result != 0) {
    error_output(0, __func__, __LINE__,
                 "[COLLECT SOFT]collect soft error,failed to get json result, error code=%d",
                 result);
    return false;
  }
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]collect soft end!\n");
  return true;
}

// A running software that is owned by a package of the list is listed once,
// with the package's data in it; containers never merge with the host's.
void CollectSoftware::getAllSoftware() {
  ProcSoftware* running = ProcSoftware::getInstance();
  if (running->init()) {
    running->setMEnv(getMEnv());
    running->getAllProcSoftware();
    running->uniqueProcSoftware(mSoftware);
  }
  InstallSoftware* installed = InstallSoftware::getInstance();
  installed->setMEnv(getMEnv());
  std::vector<SOFTWARE_EX_S> packages;
  if (!installed->getAllInstallSoftware(packages)) return;
  for (SOFTWARE_EX_S& package : packages) {
    const auto [entry, inserted] = mSoftware.emplace(package.pkgKey + package.containerId, package);
    if (inserted) continue;
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]pkg %s -%s same as software",
                 package.pkgName.c_str(), package.pkgVersion.c_str());
    entry->second.isDesktop = package.isDesktop;
    entry->second.size = package.size;
    entry->second.description = package.description;
    entry->second.installType = package.installType;
  }
}

void CollectSoftware::softOutput(std::vector<SOFT_INFO_S>& out, int mode) {
  for (auto entry = mSoftware.begin(); entry != mSoftware.end();) {
    if (!isTaken(entry->second, mode)) {
      ++entry;
      continue;
    }
    out.push_back(toOutput(entry->second));
    entry = mSoftware.erase(entry);
  }
}

SOFT_INFO_S CollectSoftware::toOutput(const SOFTWARE_EX_S& soft) const {
  SOFT_INFO_S out;
  out.name = soft.name;
  out.adminPermission = std::to_string(soft.adminPermission);
  out.binaryPath = soft.binaryPath;
  out.command = soft.command;
  out.confPath = soft.confPath;
  out.id = soft.id;
  out.user = soft.user;
  out.version = soft.version;
  out.installTime = soft.installTime;
  out.hostType = mHostType;
  out.appType = soft.appType;
  out.classifyId = soft.classifyId;
  out.belong = soft.belong;
  out.installPath = soft.installPath;
  out.company = {soft.companyZh, soft.companyEn};
  if (soft.pid != 0) out.pids.push_back(soft.pid);
  for (const SOFTWARE_PROC_INFO_S& proc : soft.relatedProcs) {
    out.relatedProcesses.push_back({proc.name, proc.path, proc.version, proc.pid, proc.startTime});
    out.relatedKeys.push_back(proc.processKey);
  }
  for (const SOFTWARE_MAJOR_PROC_INFO_S& proc : soft.majorProcs) {
    out.majorProcesses.push_back(toMajorProcess(proc));
  }
  out.developKitType = soft.developKitType;
  out.developKitVersion = soft.developKitVersion;
  out.environmentType = environmentTypeOf(soft.containerType);
  out.environmentId = soft.containerId;
  out.osType = "linux";
  out.size = soft.size;
  out.installType = soft.installType;
  out.description = soft.description;
  out.isDesktopSoftware = soft.isDesktop ? "1" : "0";
  out.tag = soft.tag;
  return out;
}

}  // namespace LedgoraCollect
