#include "collect/CollectJarPackage.h"

#include <algorithm>

#include "collect/CollectProcessInfo.h"
#include "collect/jar/ManifestText.h"
#include "common/FileUtils.h"
#include "common/InspectedRoot.h"
#include "common/ZipUtils.h"
#include "common/support/Log.h"
#include "common/support/Md5.h"
#include "run/CollectLimit.h"
#include "software/PathParts.h"
#include "software/ProcSoftware.h"

namespace LedgoraCollect {

namespace {

constexpr char kJavaLanguage[] = "java";
constexpr char kRuntimeArchive[] = "rt.jar";
constexpr int kHashTextBytes = 33;

// All archives of a run together: what anybody opens doesn't decide how long it
// takes. An archive that would exceed this isn't hashed.
constexpr long long kMaximumHashedBytes = 8LL << 30;

bool isBelow(const std::string& path, const std::string& directory) {
  return !directory.empty() && path.compare(0, directory.size(), directory) == 0;
}

}  // namespace

bool CollectJarPackage::collectImple(cJSON* root) {
  error_output(2, __func__, __LINE__, "[COLLECT_JAR]start to collect jar info !");
  std::vector<JAR_PACKAGE_S> jars;
  if (!collectJar(jars)) error_output(1, __func__, __LINE__, "[COLLECT_JAR]Failed to collect jar!");
  const int result = dataToJson(jars, root);
  if (result != 0) {
    error_output(0, __func__, __LINE__, "[COLLECT_JAR]Failed to get json result, error code=%d",
                 result);
  } else {
    error_output(2, __func__, __LINE__, "[COLLECT_JAR]success to get jar info to json");
  }
  return true;
}

bool CollectJarPackage::collectJar(std::vector<JAR_PACKAGE_S>& jars) {
  ProcSoftware* const software = ProcSoftware::getInstance();
  CollectProcessInfo processes;
  processes.setEnv(getMEnv());
  if (!processes.parseProcessesInfo(*software->getProcessInfo())) {
    error_output(1, __func__, __LINE__, "[COLLECT_JAR]failed to get process info!");
    return false;
  }
  software->init();
  software->setMEnv(getMEnv());
  for (auto& [pid, proc] : *software->getProcessInfo()) {
    if (limitReached()) break;
    if (proc.interpreter.language == kJavaLanguage) collectProcessJars(&proc);
  }
  for (const auto& [path, jar] : mJarMap) jars.push_back(jar);
  return true;
}

// A process that isn't identified keeps its empty type, so its archives are
// never those of a web software.
void CollectJarPackage::collectProcessJars(PROC_EX_INFO_S* proc) {
  std::vector<std::string> files;
  if (!CollectProcessInfo::getProcOpenFile(*proc, files, FileUtils::isJarFile)) {
    error_output(1, "collectJar", __LINE__,
                 "[COLLECT_JAR]process %d %s failed to get process open files!", proc->pid,
                 proc->name.c_str());
    return;
  }
  if (files.empty()) {
    error_output(2, "collectJar", __LINE__, "[COLLECT_JAR]process %d %s no open file found!",
                 proc->pid, proc->name.c_str());
    return;
  }
  ProcSoftware* const software = ProcSoftware::getInstance();
  SOFTWARE_EX_S identified;
  if (software->identifySoftware(proc, &identified)) {
    const SOFTWARE_RULE_S* const rule = software->getSoftRule(identified.name);
    if (rule != nullptr) proc->type = rule->appType;
  }
  addJarFile(files, proc);
}

bool CollectJarPackage::limitReached() const {
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_JAR);
  return static_cast<long long>(mJarMap.size()) >= limit;
}

// An archive is looked up by the path that the tool opens and kept under the
// path that the process knows. On the host these are the same, and every open
// descriptor of an archive becomes one of its processes. In a container they
// differ: a second process there isn't found, its record isn't kept, and the
// archive has its first process only. Consumers rely on both.
void CollectJarPackage::addJarFile(std::vector<std::string>& files, PROC_EX_INFO_S* proc) {
  const JAR_PROCESS_S user{proc->name, proc->startTime, proc->pid};
  initJavaHomePath(files, proc);
  for (const std::string& path : files) {
    error_output(2, __func__, __LINE__, "[COLLECT_JAR]process %d %s found jar file %s", proc->pid,
                 proc->name.c_str(), path.c_str());
    const std::string fullPath = CollectProcessInfo::addProcessBasePath(*proc, path);
    const auto known = mJarMap.find(fullPath);
    if (known != mJarMap.end()) {
      known->second.processes.push_back(user);
      continue;
    }
    addNewJar(path, fullPath, user, proc);
    if (limitReached()) return;
  }
}

void CollectJarPackage::addNewJar(const std::string& path, const std::string& fullPath,
                                  const JAR_PROCESS_S& user, PROC_EX_INFO_S* proc) {
  JAR_PACKAGE_S jar;
  jar.processes.push_back(user);
  jar.absPath = path;
  jar.name = baseNameOf(path);
  getManifestInfo(jar, proc);
  getJarType(jar, proc);
  if (mJarMap.count(path) != 0) return;  // the record isn't kept, so the file needn't be hashed
  jar.md5 = hashOf(fullPath);
  jar.environmentType = proc->containerKind;
  jar.containerId = proc->containerIdentity;
  mJarMap.emplace(path, std::move(jar));
}

// The value of JAVA_HOME isn't forgotten: a process without one is judged by
// that of the Java process before it. Consumers rely on that.
void CollectJarPackage::initJavaHomePath(std::vector<std::string>& files, PROC_EX_INFO_S* proc) {
  mJavaLibPath.clear();
  mJreHome.clear();
  for (const std::string& path : files) {
    if (baseNameOf(path) != kRuntimeArchive) continue;
    mJavaLibPath = directoryOf(path);
    break;
  }
  const auto javaHome = proc->processEnv.find("JAVA_HOME");
  if (javaHome != proc->processEnv.end()) mJavaHome = javaHome->second;
  const auto jreHome = proc->processEnv.find("JRE_HOME");
  if (jreHome != proc->processEnv.end()) mJreHome = jreHome->second;
  error_output(2, __func__, __LINE__,
               "[COLLECT_JAR]Process %d %s java home:%s, jre home:%s, java lib path:%s", proc->pid,
               proc->name.c_str(), mJavaHome.c_str(), mJreHome.c_str(), mJavaLibPath.c_str());
}

void CollectJarPackage::getManifestInfo(JAR_PACKAGE_S& jar, PROC_EX_INFO_S* proc) {
  const std::string fullPath = CollectProcessInfo::addProcessBasePath(*proc, jar.absPath);
  std::string text;
  if (!ZipUtils::getManifest(fullPath.c_str(), text)) {
    error_output(1, __func__, __LINE__, "[COLLECT_JAR]%s manifest get failed!", fullPath.c_str());
    return;
  }
  if (text.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT_JAR]%s manifest is empty", fullPath.c_str());
    return;
  }
  const JarManifest_S manifest = parseManifest(text);
  jar.version = manifest.version;
  jar.isExec = !manifest.mainClass.empty();
  error_output(2, __func__, __LINE__, "[COLLECT_JAR]%s  main class:%s, version %s!",
               fullPath.c_str(), manifest.mainClass.c_str(), manifest.version.c_str());
}

void CollectJarPackage::getJarType(JAR_PACKAGE_S& jar, PROC_EX_INFO_S* proc) {
  const char* const path = jar.absPath.c_str();
  const struct {
    const std::string& directory;
    const char* word;
  } homes[] = {{mJavaHome, "java home"}, {mJreHome, "jre home"}, {mJavaLibPath, "java lib home"}};
  for (const auto& home : homes) {
    if (!isBelow(jar.absPath, home.directory)) continue;
    jar.type = TYPE_SYS;
    error_output(2, __func__, __LINE__, "[COLLECT_JAR]%s is in %s %s , type is TYPE_SYS!", path,
                 home.word, home.directory.c_str());
    return;
  }
  if (proc->type == "web") {
    jar.type = TYPE_WEB;
    jar.serviceType = proc->appName;
    error_output(2, __func__, __LINE__, "[COLLECT_JAR]%s is TYPE_WEB %s!", path,
                 jar.serviceType.c_str());
  } else {
    jar.type = TYPE_OTHER;
    error_output(2, __func__, __LINE__, "[COLLECT_JAR]%s is TYPE_OTHER!", path);
  }
  // An executable archive of a web software keeps the service type.
  if (!jar.isExec) return;
  jar.type = TYPE_APP;
  error_output(2, __func__, __LINE__, "[COLLECT_JAR]%s is TYPE_APP!", path);
}

std::string CollectJarPackage::hashOf(const std::string& path) {
  struct stat status {};
  if (statInspected(path, status) != 0) return "";
  if (status.st_size > std::min(kMaximumMd5FileBytes, kMaximumHashedBytes - mHashedBytes)) {
    error_output(1, __func__, __LINE__, "[COLLECT_JAR]%s is too large to be hashed", path.c_str());
    return "";
  }
  mHashedBytes += status.st_size;
  char text[kHashTextBytes] = {};
  get_file_md5(path.c_str(), text, sizeof text);
  return text;
}

}  // namespace LedgoraCollect
