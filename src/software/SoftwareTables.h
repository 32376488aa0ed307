#pragma once

#include <string>

namespace LedgoraCollect {

/// The tables of the state database that this subsystem owns.
enum TABLE_TYPE { TABLE_SOFTWARE_CACHE = 0, TABLE_PKG_CACHE = 1 };

/// One row of "software_cache". The comment says the column; columns marked
/// "written only" are for whoever inspects the file and aren't read back.
struct _SOFT_TABLE_DATA {   // NOLINT(bugprone-reserved-identifier)
  std::string appUser;      // app_user
  int adminPermission = 0;  // admin_permission, written only
  long long startTime = 0;
  long long collectTime = 0;
  std::string installTime;
  std::string path;
  std::string installPath;
  std::string appVersion;
  std::string dockerId;    // written only
  std::string dockerPath;  // written only
  std::string dockerType;  // written only
  std::string pkgInfo;
  std::string appEnv;
  std::string pid;  // JSON array of the related pids, written only
  std::string processKey;
  std::string language;  // written only
  std::string appName;
  std::string appType;
  std::string appConf;
  std::string appExtend;
  std::string appId;
  std::string appTag;
  int appSource = 0;
  int collectStatus = 0;
  std::string extra;   // never bound: the column is always NULL
  int majorPid = 0;    // written only
  std::string subPid;  // JSON array, written only
};

/// One row of "pkg_cache".
struct PKG_TABLE_DATA_S {
  std::string keyFilePath;
  std::string name;
  std::string version;
  long long modifyTime = 0;   // seconds
  long long collectTime = 0;  // seconds
};

}  // namespace LedgoraCollect
