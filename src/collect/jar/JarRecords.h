#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

/// The kinds of Java archives, as the document has them.
constexpr int TYPE_APP = 1;    // executable: the manifest names a main class
constexpr int TYPE_SYS = 2;    // part of the Java installation
constexpr int TYPE_WEB = 3;    // in use by a web software
constexpr int TYPE_OTHER = 4;  // everything else

/// A process that holds an archive open.
struct JAR_PROCESS_S {
  std::string name;
  long long startTime = 0;  // seconds since the epoch
  int pid = 0;
};

/// A Java archive in use.
struct JAR_PACKAGE_S {
  std::string name;
  int type = TYPE_OTHER;
  bool isExec = false;  // the manifest names a main class
  std::string version;
  std::string absPath;      // as the process sees it
  std::string serviceType;  // the software of the process, for TYPE_WEB
  std::vector<JAR_PROCESS_S> processes;
  int environmentType = 0;  // 0 host, 1 docker, 2 containerd
  std::string containerId;
  std::string md5;
};

}  // namespace LedgoraCollect
