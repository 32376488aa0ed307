#include "software/ProcSoftwareInfo.h"

#include <strings.h>
#include <sys/stat.h>

#include <cstdlib>

#include "collect/CollectProcessInfo.h"
#include "common/FileUtils.h"
#include "common/InspectedRoot.h"
#include "common/RegexUtils.h"
#include "common/ZipUtils.h"
#include "common/support/Log.h"
#include "software/PathParts.h"
#include "software/ProcSoftware.h"
#include "software/SoftwareSearchFile.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kDefaultConfDirectories[] = {"/etc", "/usr/local/etc", "/www/server", "/opt"};
constexpr const char* kJavaReleaseVersion = "JAVA_VERSION\\s*=\\s*\"*([^\\f\\n\\r\\v\"]+)\"*";
constexpr const char* kRtVersions[] = {"Implementation-Version:\\s*(\\S+)",
                                       "Bundle-Version:\\s*(\\S+)"};

/// Accepts the runtime library of older Java versions.
bool filterRt(const std::string& path) {
  constexpr const char* kName = "rt.jar";
  return FileUtils::isJarFile(path) && strncasecmp(baseNameOf(path).c_str(), kName, 6) == 0;
}

}  // namespace

ProcSoftwareInfo* ProcSoftwareInfo::getInstance() {
  static ProcSoftwareInfo instance;
  return &instance;
}

ProcSoftwareInfo::ProcSoftwareInfo()
    : mVersionMethods{{"version_env", &ProcSoftwareInfo::getVersionByVersionEnv},
                      {"version_file", &ProcSoftwareInfo::getVersionByVersionFile},
                      {"version_jar", &ProcSoftwareInfo::getVersionByOpenJar},
                      {"version_elf", &ProcSoftwareInfo::getVersionByELF},
                      {"version_zip", &ProcSoftwareInfo::getVersionByExtractZip}},
      mConfDirectories(std::begin(kDefaultConfDirectories), std::end(kDefaultConfDirectories)) {}

std::string ProcSoftwareInfo::prefixed(PROC_EX_INFO_S* proc, const std::string& path) {
  const bool relative = !path.empty() && path.front() != '/';
  const std::string full = relative ? pathWithoutBase(*proc, path) : path;
  return full.empty() ? full : CollectProcessInfo::addProcessBasePath(*proc, full);
}

const std::string& ProcSoftwareInfo::manifestOf(const std::string& jarPath) {
  const auto [entry, isNew] = mManifests.emplace(jarPath, std::string());
  if (isNew && !ZipUtils::getManifest(jarPath.c_str(), entry->second)) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]failed to get manifest from jar %s",
                 jarPath.c_str());
  }
  return entry->second;
}

bool ProcSoftwareInfo::getSoftwareInfoByProc(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft) {
  if (proc == nullptr || soft == nullptr) return false;
  soft->binaryPath = proc->keyFilePath;
  soft->adminPermission = std::strtol(proc->userUid.c_str(), nullptr, 10) == 0 ? 1 : 0;
  soft->user = proc->userName;
  soft->pid = proc->pid;
  soft->command = proc->cmdLine;
  soft->source = kSourceProcess;
  soft->language = proc->interpreter.language;
  soft->containerId = proc->container.containerId;
  soft->containerPath = proc->container.containerPath;
  soft->containerType = proc->container.containerType;
  return true;
}

void ProcSoftwareInfo::readVariables(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc) {
  if (proc->varEnvValues.empty() && !proc->processEnv.empty()) {
    parseVarEnvValue(rule->varEnv, proc->processEnv, proc->varEnvValues);
  }
  if (proc->varCmdValues.empty() && (!proc->cmdParams.empty() || getCmdParamValue(rule, proc))) {
    std::string directory = keyFileDirectory(*proc);
    parseVarCmdValue(rule->varCmd, proc->cmdParams, directory, proc->varCmdValues);
  }
  parseVarFileValue(rule, proc);
}

void ProcSoftwareInfo::getSoftwareInfoByRule(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft) {
  if (soft->name.empty()) return;
  SOFTWARE_RULE_S* rule = ProcSoftware::getInstance()->getSoftRule(soft->name);
  const char* name = soft->name.c_str();
  if (rule == nullptr) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT] Soft(%s), get rule failed", name);
    return;
  }
  soft->appType = rule->appType;
  readVariables(rule, proc);
  error_output(2, __func__, __LINE__, "[COLLECT SOFT] @@ Soft(%s) start get develop kit version @@",
               name);
  getDevelopKitVersion(proc, soft);
  error_output(2, __func__, __LINE__, "[COLLECT SOFT] @@ Soft(%s) start get configure @@", name);
  if (getSoftwareConfigure(rule, proc, soft)) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s), get configure %s success \n", name,
                 soft->confPath.c_str());
  } else {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT] Soft(%s) get configure failed \n", name);
  }
  error_output(2, __func__, __LINE__, "[COLLECT SOFT] @@ Soft(%s) start get version @@", name);
  if (!getSoftwareVersion(rule, proc, soft)) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT] Soft(%s) get version failed \n", name);
    return;
  }
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s), get version %s success \n", name,
               soft->version.c_str());
  if (getSoftwareInstallTime(rule, proc, soft)) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT] @@get Soft(%s) install time success, time is %s @@", name,
                 soft->installTime.c_str());
  } else {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT] Soft(%s) get install time failed \n", name);
  }
}

// A package's version beats everything; commands come last.
bool ProcSoftwareInfo::getSoftwareVersion(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                          SOFTWARE_EX_S* soft) {
  if (getVersionByPkg(proc, soft)) return true;
  for (const std::string& method : rule->versionMethods) {
    const auto found = mVersionMethods.find(method);
    if (found == mVersionMethods.end()) {
      error_output(0, __func__, __LINE__, "[COLLECT SOFT]%s, get version deal function failed",
                   method.c_str());
      continue;
    }
    if ((this->*found->second)(rule, proc, soft->version)) return true;
  }
  return getVersionByVarCmd(rule, proc, soft->version) ||
         getVersionByCmd(rule, proc, soft->version);
}

bool ProcSoftwareInfo::getVersionByPkg(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft) {
  // A bare process path proves nothing about a package.
  if (!proc->keyFilePathFlag && proc->keyFilePath == proc->path &&
      proc->keyFilePath == soft->installPath) {
    error_output(
        0, __func__, __LINE__,
        "[COLLECT SOFT]process keyFilePath %s is invalid, can not get pkg info by keyFilePath",
        proc->keyFilePath.c_str());
    return false;
  }
  const bool ofSoftware = !soft->pkgVersion.empty() && !soft->pkgName.empty();
  const bool ofProcess =
      !proc->package.packageName.empty() && !proc->package.packageVersion.empty();
  if (!ofSoftware && !ofProcess) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]process keyFilePath %s get pkg info failed",
                 proc->keyFilePath.c_str());
    return false;
  }
  // The value is the software's in both cases, and may be empty in the second.
  soft->version = soft->pkgVersion;
  error_output(2, __func__, __LINE__,
               "[COLLECT SOFT]process keyFilePath %s get pkg version %s as version",
               proc->keyFilePath.c_str(), soft->version.c_str());
  return true;
}

bool ProcSoftwareInfo::getSoftwareConfigure(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                            SOFTWARE_EX_S* soft) {
  if (rule == nullptr || proc == nullptr || soft == nullptr) return false;
  std::string path;
  if (!getConfPathByCmdline(rule, proc, path)) getConfPathByDefault(rule, proc, path);
  return !path.empty() && getAbsolutePath(proc, path, soft->confPath);
}

bool ProcSoftwareInfo::getConfPathByCmdline(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                            std::string& out) {
  const char* name = rule->name.c_str();
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) get configure path by cmdline param.",
               name);
  if (rule->confCmd.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) conf_cmd is empty.", name);
    return false;
  }
  if (proc->cmdParams.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) cmdValue is empty.", name);
    return false;
  }
  for (const std::string& parameter : rule->confCmd) {
    const auto found = proc->cmdParams.find(parameter);
    if (found == proc->cmdParams.end()) continue;
    out = found->second;
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) get configure path success %s.",
                 name, out.c_str());
    return true;
  }
  return false;
}

bool ProcSoftwareInfo::getConfPathByDefault(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                            std::string& out) {
  const char* name = rule->name.c_str();
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) get configure path by conf default.",
               name);
  if (rule->confDefault.empty()) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]Soft(%s), the conf_default of rule is empty.", name);
    return false;
  }
  for (PATH_REGEX_S& element : rule->confDefault) {
    std::vector<std::string> directories;
    if (element.pathBase.empty()) {
      directories = mConfDirectories;
    } else if (!getVarValue(proc, element.pathBase, directories)) {
      continue;
    }
    if (softwareSearchFile::getInstance()->searchFileByRule(proc, directories, element.fileRegex,
                                                            out, element.fileType)) {
      error_output(2, __func__, __LINE__,
                   "[COLLECT SOFT]Soft(%s) get configure path by default is %s ", name,
                   out.c_str());
      return true;
    }
  }
  return false;
}

bool ProcSoftwareInfo::getSoftwareInstallTime(SOFTWARE_RULE_S*, PROC_EX_INFO_S* proc,
                                              SOFTWARE_EX_S* soft) {
  if (!soft->installTime.empty()) return true;
  struct stat status {};
  if (statInspected(prefixed(proc, soft->binaryPath), status) != 0) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]get file %s stat failed",
                 soft->binaryPath.c_str());
    return false;
  }
  if (status.st_mtim.tv_sec == 0) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]get file %s stat st_mtim.tv_sec failed",
                 soft->binaryPath.c_str());
    return false;
  }
  soft->installTime = std::to_string(status.st_mtim.tv_sec) + "000";
  return true;
}

void ProcSoftwareInfo::getDevelopKitVersion(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft) {
  if (soft->language == "java" && soft->developKitType == 0) getJavaVersion(proc, soft);
}

bool ProcSoftwareInfo::getJavaVersion(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft) {
  std::string version;
  if (getJavaVersionByFile(proc, version)) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]success to get java version (%s) from proc(%d) %s by release file",
                 version.c_str(), proc->pid, proc->path.c_str());
  } else if (getJavaVersionByRt(proc, version)) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]success to get java version (%s) from proc(%d) %s by rt.jar file",
                 version.c_str(), proc->pid, proc->path.c_str());
  }
  if (version.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]failed get java version from proc(%d) %s",
                 proc->pid, proc->path.c_str());
    return false;
  }
  soft->developKitVersion = version;
  soft->developKitType = 1;
  error_output(2, __func__, __LINE__,
               "[COLLECT SOFT]success to get java version (%s) from proc(%d) %s", version.c_str(),
               proc->pid, proc->path.c_str());
  return true;
}

bool ProcSoftwareInfo::getJavaVersionByFile(PROC_EX_INFO_S* proc, std::string& out) {
  std::string release = directoryOf(proc->path) + "/../release";
  std::string real;
  if (!getRealPath(proc, release, real)) return false;
  std::string full = prefixed(proc, real);
  std::string expression = kJavaReleaseVersion;
  return regexMatchFileContent(full, expression, out);
}

bool ProcSoftwareInfo::getJavaVersionByRt(PROC_EX_INFO_S* proc, std::string& out) {
  std::vector<std::string> files;
  if (!CollectProcessInfo::getProcOpenFile(*proc, files, filterRt)) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]process %s get rt files failed!",
                 proc->name.c_str());
    return false;
  }
  for (const std::string& file : files) {
    std::string manifest = manifestOf(prefixed(proc, file));
    if (manifest.empty()) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]manifest from jar %s is empty",
                   file.c_str());
      continue;
    }
    for (const char* expression : kRtVersions) {
      if (regex_interface(manifest, out, expression)) return true;
    }
  }
  return false;
}

}  // namespace LedgoraCollect
