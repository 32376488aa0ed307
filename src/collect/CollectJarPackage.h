#pragma once

#include <map>
#include <string>
#include <vector>

#include "collect/ProcessRecords.h"
#include "collect/jar/JarRecords.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// Type 22: the Java archives that running Java processes hold open. The disk
/// isn't searched, so only what is in use is reported.
class CollectJarPackage : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  /// Appends the archives, by path. False if the processes couldn't be read.
  bool collectJar(std::vector<JAR_PACKAGE_S>& jars);

 private:
  void collectProcessJars(PROC_EX_INFO_S* proc);
  /// Takes the open archives of one process.
  void addJarFile(std::vector<std::string>& files, PROC_EX_INFO_S* proc);
  void addNewJar(const std::string& path, const std::string& fullPath, const JAR_PROCESS_S& user,
                 PROC_EX_INFO_S* proc);
  /// Sets the three paths of the process's Java installation.
  void initJavaHomePath(std::vector<std::string>& files, PROC_EX_INFO_S* proc);
  /// Sets version and is exec.
  void getManifestInfo(JAR_PACKAGE_S& jar, PROC_EX_INFO_S* proc);
  /// Sets type and service type.
  void getJarType(JAR_PACKAGE_S& jar, PROC_EX_INFO_S* proc);
  /// The MD5 of the file; empty if it can't be read or is too large.
  std::string hashOf(const std::string& path);
  bool limitReached() const;

  std::string mJavaLibPath;                      // directory of the process's "rt.jar"
  std::string mJreHome;                          // JRE_HOME of the process
  std::string mJavaHome;                         // JAVA_HOME of the process or one before it
  std::map<std::string, JAR_PACKAGE_S> mJarMap;  // by the path as the process sees it
  long long mHashedBytes = 0;
};

}  // namespace LedgoraCollect
