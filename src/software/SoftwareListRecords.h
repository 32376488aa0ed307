#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

struct COMPANY_S {
  std::string zhCn;
  std::string enUs;
};

struct RELATED_PROCESS_S {
  std::string name;
  std::string path;
  std::string version;
  int pid = 0;
  long long upTime = 0;  // start of the process, seconds since the epoch
};

struct SUB_PROCESS_S {
  int pid = 0;
  std::string processKey;
};

struct MAJOR_PROCESS_S {
  std::string name;
  std::string confPath;
  std::string version;
  std::string processKey;
  int pid = 0;
  std::vector<SUB_PROCESS_S> subProcesses;
};

/// One element of the software list.
struct SOFT_INFO_S {
  std::string name;
  std::string adminPermission;  // "1" or "0"
  std::string binaryPath;
  std::string command;
  std::string confPath;
  std::string id;
  std::string user;
  std::string version;
  std::string installTime;
  std::string hostType;
  std::string appType;
  std::string classifyId;
  std::string belong;
  std::string installPath;
  COMPANY_S company;
  std::vector<int> pids;
  std::vector<RELATED_PROCESS_S> relatedProcesses;
  std::vector<MAJOR_PROCESS_S> majorProcesses;  // not written
  std::vector<std::string> relatedKeys;
  int developKitType = 0;
  std::string developKitVersion;
  int environmentType = 0;  // 0 host, 1 docker, 2 containerd
  std::string environmentId;
  std::string osType;
  std::string size;
  std::string installType;
  std::string description;  // filled, not written
  std::string isDesktopSoftware;
  // The next six stay empty on this platform.
  std::string uninstallString;
  std::string quietUninstallString;
  std::string publisher;
  std::string installOnlyId;
  std::string displayName;
  std::string displayVersion;
  std::string tag;  // JSON text
};

}  // namespace LedgoraCollect
