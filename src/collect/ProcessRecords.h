#pragma once

#include <map>
#include <string>

namespace LedgoraCollect {

/// The part of a process that is written to the process list. Fields marked
/// "always empty" have no source on this platform; their keys are written with
/// the empty string, which consumers rely on.
struct PROCESS_INFO_S {
  int pid = 0;
  int parentId = 0;
  long long startTime = 0;  // seconds since the epoch
  std::string name;
  std::string status;
  std::string cpuUsage;
  std::string userName;
  std::string userUid;
  std::string groupName;
  std::string cmdLine;
  std::string memUsage;
  std::string path;  // as the process sees it
  std::string md5;   // always empty
  std::string parentName;
  std::string type;              // written back from the software
  std::string procVersion;       // always empty
  std::string version;           // written back from the software
  std::string appName;           // written back from the software
  std::string isPackageInstall;  // "1": a package owns the key file, "0": none does
  std::string processKey;
  std::string tty;
  std::string description;       // always empty
  std::string copyright;         // always empty
  std::string productName;       // always empty
  std::string originalFilename;  // always empty
  std::string iconHash;          // always empty
  std::string signerName;        // always empty
  int containerKind = 0;         // 0 host, 1 docker, 2 containerd
  std::string containerIdentity;
};

struct PROC_INTERPTR_INFO_S {
  std::string path;
  std::string language;        // "linux", "python", "perl", "bash", "java"
  bool isInterpreter = false;  // language is not "linux"
};

struct PROC_CONTAINER_INFO_S {
  std::string containerPath;  // "/proc/<pid>/root"; all three empty on the host
  std::string containerId;
  std::string containerType;
};

/// The package that owns the key file.
struct PROC_PACKAGE_INFO_S {
  std::string packageName;
  std::string packageVersion;
  std::string packageInstallTime;
  std::string packageKey;
};

/// A process as software identification works on it.
struct PROC_EX_INFO_S : PROCESS_INFO_S {
  PROC_INTERPTR_INFO_S interpreter;
  PROC_CONTAINER_INFO_S container;
  PROC_PACKAGE_INFO_S package;
  std::string processStarArgs;     // the arguments
  std::string keyFilePath;         // the file that stands for the software
  std::string processBasePath;     // root of the process's file system; empty on the host
  bool keyFilePathFlag = true;     // false: the executable stands in for an unknown key file
  bool relatedIncomplete = false;  // joined a software that still lacks something
  bool collected = false;          // visited by the walk
  std::string processDbKey;        // the software key
  std::map<std::string, std::string> processEnv;
  std::map<std::string, std::string> cmdParams;
  std::map<std::string, std::string> varEnvValues;
  std::map<std::string, std::string> varCmdValues;
  std::map<std::string, std::string> varFileValues;
};

}  // namespace LedgoraCollect
