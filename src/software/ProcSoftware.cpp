#include "software/ProcSoftware.h"

#include <sys/time.h>

#include <cstdlib>

#include "collect/CollectProcessInfo.h"
#include "common/support/InstallPath.h"
#include "common/support/Log.h"
#include "package/SoftwarePkgCache.h"
#include "run/CollectFilter.h"
#include "software/CollectRuleParser.h"
#include "software/PathParts.h"
#include "software/ProcSoftwareInfo.h"
#include "software/SoftwareDbManage.h"
#include "software/SoftwarePkgInfo.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kProcessRules = "@/../config/rule/soft/soft_app_linux.json";
// A path of the installation that doesn't fit isn't found.
constexpr std::size_t kRulePathBytes = 256;
constexpr int kFreshCacheSeconds = 1200;

void dumpText(const char* field, const std::string& value) {
  error_output(2, "dumpProcess", __LINE__, "[COLLECT SOFT]%s: %s", field, value.c_str());
}

/// The record in the log, one line a field. The environment isn't part of it:
/// its values may be secrets.
void dumpProcess(const PROC_EX_INFO_S& proc) {
  dumpText("pid", std::to_string(proc.pid));
  dumpText("parentId", std::to_string(proc.parentId));
  dumpText("startTime", std::to_string(proc.startTime));
  dumpText("name", proc.name);
  dumpText("userName", proc.userName);
  dumpText("path", proc.path);
  dumpText("keyFilePath", proc.keyFilePath);
  dumpText("processBasePath", proc.processBasePath);
  dumpText("processKey", proc.processKey);
  dumpText("language", proc.interpreter.language);
  dumpText("containerPath", proc.container.containerPath);
  dumpText("containerId", proc.container.containerId);
}

}  // namespace

ProcSoftware* ProcSoftware::getInstance() {
  static ProcSoftware instance;
  return &instance;
}

bool ProcSoftware::init() {
  timeval now{};
  gettimeofday(&now, nullptr);
  m_collectTime = now.tv_sec;
  mInformation = ProcSoftwareInfo::getInstance();
  const bool loaded = loadSoftwareRule();
  checkSoftRulePriority();
  return loaded;
}

void ProcSoftware::setMEnv(const std::string& env) {
  m_env = env;
  if (mInformation != nullptr) mInformation->setMEnv(env);
  mProcessCollector.setEnv(env);
}

bool ProcSoftware::loadSoftwareRule() {
  if (!m_softRule.empty()) {
    LEDGORA_DEBUG("[COLLECT SOFT]software type already init.");
    return false;
  }
  char path[kRulePathBytes] = {};
  dirutils_path_transform(kProcessRules, path, sizeof(path));
  const bool loaded = RuleParser().loadProcSoftwareRule(path, m_softRule);
  if (!loaded) error_output(1, __func__, __LINE__, "[COLLECT SOFT]failed to load %s.", path);
  return loaded;
}

// The priority of a rule is that of its first pattern alone. Any word but the
// two known ones, also one in capitals, is low.
void ProcSoftware::checkSoftRulePriority() {
  if (m_softRule.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]m_softRule is empty");
    return;
  }
  for (const auto& [name, rule] : m_softRule) {
    if (name.empty() || rule.patternProcess.empty()) continue;
    const std::string& priority = rule.patternProcess.front().priority;
    if (priority == "high") {
      mHighRules.emplace(name, rule);
    } else if (priority.empty() || priority == "normal") {
      mNormalRules.emplace(name, rule);
    } else {
      mLowRules.emplace(name, rule);
    }
  }
}

SOFTWARE_RULE_S* ProcSoftware::getSoftRule(const std::string& name) {
  const auto found = m_softRule.find(name);
  return found == m_softRule.end() ? nullptr : &found->second;
}

bool ProcSoftware::getAllProcSoftware() {
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]collect process info in!");
  if (!mProcessCollector.parseProcessesInfo(mProcesses)) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]collect process software failed");
    return false;
  }
  return collectALlSoftware();
}

bool ProcSoftware::collectALlSoftware() {
  if (mProcesses.empty()) return false;
  SoftwarePkgInfo* leftovers = SoftwarePkgInfo::getInstance();
  if (leftovers->init()) leftovers->getPkgInfoFromDb();
  for (auto& [pid, proc] : mProcesses) {
    if (checkProcValue(proc) && !filterProcName(proc)) collectSoftware(&proc);
  }
  if (mSoftware.empty()) {
    error_output(0, __func__, __LINE__,
                 "[COLLECT SOFT]collect process software failed, no software data");
    return false;
  }
  SoftDbManage* cache = SoftDbManage::getSoftDBManage();
  if (cache == nullptr || cache->refreshCacheData(m_collectTime)) return true;
  error_output(0, __func__, __LINE__,
               "[COLLECT SOFT]collect process software refreshCacheData failed, m_collectTime %lld",
               m_collectTime);
  return false;
}

bool ProcSoftware::checkProcValue(const PROC_EX_INFO_S& proc) {
  if (proc.processKey.empty()) {
    error_output(1, __func__, __LINE__,
                 "[COLLECT SOFT]Process with pid(%d) will not be collected software info, because "
                 "processkey(%s) is illegal!",
                 proc.pid, proc.processKey.c_str());
    return false;
  }
  if (proc.pid == 0 || proc.path.empty() || proc.cmdLine.empty()) {
    error_output(1, __func__, __LINE__,
                 "[COLLECT SOFT]Process with pid(%d) will not be collected software info, because "
                 "processPath(%s) or processCmdline(%s) is illegal!",
                 proc.pid, proc.path.c_str(), proc.cmdLine.c_str());
    return false;
  }
  return true;
}

bool ProcSoftware::filterProcName(PROC_EX_INFO_S& proc) {
  if (!CollectFilter::getInstance()->filterProc(proc.name, proc.cmdLine)) return false;
  error_output(1, __func__, __LINE__,
               "[COLLECT SOFT]Process with pid(%d) will not be collected software info, because "
               "processName(%s) and processCmdline(%s) are in filter list!",
               proc.pid, proc.name.c_str(), proc.cmdLine.c_str());
  return true;
}

PROC_EX_INFO_S* ProcSoftware::parentOf(const PROC_EX_INFO_S& proc) {
  const auto found = mProcesses.find(proc.parentId);
  return found == mProcesses.end() ? nullptr : &found->second;
}

bool ProcSoftware::startVisit(PROC_EX_INFO_S* proc) {
  LEDGORA_DEBUG("[COLLECT SOFT]\nprocess(%d) %s cmdline %s, time %lld collect in", proc->pid,
                proc->name.c_str(), proc->cmdLine.c_str(), m_collectTime);
  if (proc->collected) {
    LEDGORA_DEBUG("[COLLECT SOFT]\nprocess(%d) %s cmdline %s is related already!", proc->pid,
                  proc->name.c_str(), proc->cmdLine.c_str());
    return false;
  }
  // Marked before its ancestors are visited, so that a cycle of parents ends.
  proc->collected = true;
  return true;
}

// Ancestors first, without the checks of the outer walk: a filtered parent is
// still identified through its child. A loop and not a recursion, since a
// chain of processes can be longer than the stack is deep.
bool ProcSoftware::collectSoftware(PROC_EX_INFO_S* proc) {
  if (proc == nullptr) return false;
  if (!startVisit(proc)) return true;
  std::vector<PROC_EX_INFO_S*> chain{proc};
  while (true) {
    PROC_EX_INFO_S* child = chain.back();
    PROC_EX_INFO_S* parent = parentOf(*child);
    if (parent == nullptr || child->parentId == 0 || child->parentId == child->pid ||
        parent->keyFilePath.empty()) {
      break;
    }
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]process(%d) %s parent %s ppid %d, collect parent firstly",
                 child->pid, child->name.c_str(), parent->name.c_str(), child->parentId);
    if (!startVisit(parent)) break;
    chain.push_back(parent);
  }
  bool result = false;
  for (auto member = chain.rbegin(); member != chain.rend(); ++member) {
    dumpProcess(**member);
    result = implCollectSoftware(*member, parentOf(**member));
  }
  return result;
}

bool ProcSoftware::implCollectSoftware(PROC_EX_INFO_S* proc, PROC_EX_INFO_S* parent) {
  SOFTWARE_EX_S soft;
  SoftwarePkgCache packages;
  packages.setEnvironment(m_env);
  packages.setTarget(proc->container.containerPath);
  packages.setContainerId(proc->container.containerId);
  findKeyFilePackage(proc, packages);
  if (!identifySoftware(proc, &soft)) return false;
  if (!proc->package.packageName.empty()) {
    soft.pkgName = proc->package.packageName;
    soft.pkgVersion = proc->package.packageVersion;
    soft.installTime = proc->package.packageInstallTime;
    soft.pkgKey = proc->package.packageKey;
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]software %s related pkg %s by keyfile %s",
                 soft.name.c_str(), soft.pkgName.c_str(), proc->keyFilePath.c_str());
  }
  if (setSoftwareRelated(parent, proc, &soft)) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]process %s related to software %s, no more collect",
                 proc->name.c_str(), soft.name.c_str());
    return true;
  }
  if (!mInformation->getSoftwareInfoByProc(proc, &soft)) return false;
  getSoftwareOtherInfo(proc, soft);
  findInstallPathPackage(proc, soft, packages);
  if (getSingleSoftwareDb(proc, soft)) return takeFromCache(proc, soft);
  mInformation->getSoftwareInfoByRule(proc, &soft);
  addMajorProcessDetailInfo(proc, &soft);
  if (saveSoftwareData(proc, soft)) return true;
  error_output(0, __func__, __LINE__, "[COLLECT SOFT]Add proSoftware of %s failed!",
               soft.name.c_str());
  return false;
}

void ProcSoftware::findKeyFilePackage(PROC_EX_INFO_S* proc, SoftwarePkgCache& packages) {
  if (proc->keyFilePath.empty() || !proc->keyFilePathFlag || !proc->isPackageInstall.empty()) {
    return;
  }
  SoftwarePkgCacheUnit unit;
  if (!packages.getPackageInfo(proc->keyFilePath, unit)) {
    proc->isPackageInstall = "0";
    return;
  }
  proc->package.packageName = unit.getPackageName();
  proc->package.packageVersion = unit.getPackageVersion();
  proc->package.packageInstallTime = unit.getPackageInstallTime();
  proc->package.packageKey = unit.getPackageKey();
  proc->isPackageInstall = "1";
}

// Only without a real key file: the package of the install path stands in.
void ProcSoftware::findInstallPathPackage(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft,
                                          SoftwarePkgCache& packages) {
  if (proc->keyFilePathFlag || soft.installPath.empty() || soft.installPath == proc->keyFilePath) {
    return;
  }
  SoftwarePkgCacheUnit unit;
  if (!packages.getPackageInfo(soft.installPath, unit)) return;
  soft.pkgName = unit.getPackageName();
  soft.pkgVersion = unit.getPackageVersion();
  soft.installTime = unit.getPackageInstallTime();
  soft.pkgKey = unit.getPackageKey();
  soft.installType = unit.getPackageType();
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]software %s related pkg %s by install path %s",
               soft.name.c_str(), soft.pkgName.c_str(), soft.installPath.c_str());
}

bool ProcSoftware::takeFromCache(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  if (!addProcSoftware(proc, soft) || !dbUpdateProcessRelated(soft, proc->processDbKey)) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]Add proSoftware of %s failed!",
                 soft.name.c_str());
    return false;
  }
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]proc(%d) %s key %s, get info successful by db",
               proc->pid, proc->name.c_str(), proc->processDbKey.c_str());
  return true;
}

bool ProcSoftware::getSingleSoftwareDb(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  SoftDbManage* cache = SoftDbManage::getSoftDBManage();
  if (cache == nullptr) return false;
  if (proc->relatedIncomplete) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]process pid %d path %s is related, don't get cache from db",
                 proc->pid, proc->path.c_str());
    return false;
  }
  if (!cache->getSingleCacheData(proc->processDbKey, soft, proc->startTime)) return false;
  cache->updateSoftCollectTime(proc->processDbKey, m_collectTime);
  return true;
}

void ProcSoftware::readRuleVariables(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc) {
  mInformation->parseVarEnvValue(rule->varEnv, proc->processEnv, proc->varEnvValues);
  readParameters(rule, proc);
  mInformation->parseVarFileValue(rule, proc);
}

void ProcSoftware::readParameters(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc) {
  if (!mInformation->getCmdParamValue(rule, proc)) return;
  std::string directory = keyFileDirectory(*proc);
  mInformation->parseVarCmdValue(rule->varCmd, proc->cmdParams, directory, proc->varCmdValues);
}

void ProcSoftware::getSoftwareOtherInfo(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  SOFTWARE_RULE_S* rule = getSoftRule(soft.name);
  if (rule == nullptr) return;
  mInformation->parseVarEnvValue(rule->varEnv, proc->processEnv, proc->varEnvValues);
  mInformation->parseVarFileValue(rule, proc);
  readParameters(rule, proc);
  std::vector<std::string> values;
  for (std::string& element : rule->keyPath) {
    mInformation->getVarValue(proc, element, values);
    if (!values.empty()) soft.installPath = values.front();
  }
  if (soft.installPath.empty()) soft.installPath = proc->keyFilePath;
  soft.companyEn = rule->companyEn;
  soft.companyZh = rule->companyZh;
  soft.classifyId = rule->classifyId;
  soft.belong = rule->belong;
  soft.id = rule->id;
  soft.tag = rule->tag;
}

bool ProcSoftware::checkSoftwareCache() {
  SoftDbManage* cache = SoftDbManage::getSoftDBManage();
  if (cache == nullptr) return false;
  timeval now{};
  if (gettimeofday(&now, nullptr) != 0) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]get time error");
    return false;
  }
  std::string condition = "abs(" + std::to_string(now.tv_sec) + "- collect_time) < " +
                          std::to_string(kFreshCacheSeconds);
  std::map<std::string, SOFTWARE_EX_S> rows;
  if (cache->getCacheData(rows, condition) != 0) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]get cache from db failed, condition %s",
                 condition.c_str());
    return false;
  }
  if (rows.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]get cache from db empty, condition %s",
                 condition.c_str());
    return false;
  }
  error_output(2, __func__, __LINE__,
               "[COLLECT SOFT]get cache from db success, size %ld, condition %s",
               static_cast<long>(rows.size()), condition.c_str());
  return true;
}

}  // namespace LedgoraCollect
