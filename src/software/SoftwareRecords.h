#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

/// How a software was found.
constexpr int kSourcePackage = 1;
constexpr int kSourceProcess = 2;

/// Description of one software, whether found by process or by package.
struct SOFT_BASIC_INFO_S {
  int source = 0;  // kSourcePackage or kSourceProcess
  std::string id;
  std::string name;
  std::string binaryPath;
  std::string user;
  int adminPermission = 0;  // 1: runs with uid 0
  std::string pkgName;
  std::string pkgVersion;
  std::string pkgKey;
  std::string version;
  std::string appType;
  std::string confPath;
  long long collectTime = 0;  // seconds; the run that last touched it
  long long startTime = 0;    // seconds; of the first process
  std::string language;
  std::string installTime;  // milliseconds as text; empty: unknown
  int pid = 0;
  std::string command;
  std::string classifyId;
  std::string belong;
  std::string companyZh;
  std::string companyEn;
  int developKitType = 0;  // 1: a Java version is known
  std::string developKitVersion;
  std::string installPath;
  std::string size;
  std::string installType;
  std::string description;
  bool isDesktop = false;
  std::string tag;
};

/// One process of a software.
struct SOFTWARE_PROC_INFO_S {
  int pid = 0;
  long long startTime = 0;
  std::string path;
  std::string name;
  std::string version;
  std::string processKey;
  std::string confPath;
};

struct SUBPROCESS_INFO_S {
  int pid = 0;
  std::string processKey;
};

/// The first process of a software with those that joined it.
struct SOFTWARE_MAJOR_PROC_INFO_S {
  int pid = 0;
  std::string name;
  std::string version;
  std::string processKey;
  std::string confPath;
  std::vector<SUBPROCESS_INFO_S> subProcesses;
};

/// One identified software with its processes and container.
struct SOFTWARE_EX_S : SOFT_BASIC_INFO_S {
  std::vector<SOFTWARE_PROC_INFO_S> relatedProcs;  // the first process included
  std::vector<SOFTWARE_MAJOR_PROC_INFO_S> majorProcs;
  std::string containerPath;  // all three empty on the host
  std::string containerId;
  std::string containerType;
};

}  // namespace LedgoraCollect
