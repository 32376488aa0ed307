// What makes two processes the same software, and the bookkeeping of the
// software map and its cache rows while processes join.
#include "common/support/Log.h"
#include "run/CollectLimit.h"
#include "software/ProcSoftware.h"
#include "software/SoftwareDbManage.h"

namespace LedgoraCollect {

bool ProcSoftware::setSoftwareRelated(PROC_EX_INFO_S* parent, PROC_EX_INFO_S* proc,
                                      SOFTWARE_EX_S* soft) {
  if (soft == nullptr) return false;
  if (parent != nullptr && !parent->processDbKey.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]keyFilePath [%s %s], appName %s",
                 parent->keyFilePath.c_str(), proc->keyFilePath.c_str(), proc->appName.c_str());
    const bool sameFile = !parent->keyFilePath.empty() && parent->keyFilePath == proc->keyFilePath;
    const bool sameName = !parent->appName.empty() && parent->appName == proc->appName;
    if (sameFile || sameName) return addSoftwareRelated(parent, proc);
  }
  setRelatedValue(proc, *soft);
  setSoftwareMajorProcess(proc, soft);
  soft->startTime = proc->startTime;
  proc->processDbKey = std::to_string(proc->pid) + proc->processKey + proc->appName;
  error_output(2, __func__, __LINE__,
               "[COLLECT SOFT]new soft: process keyFilePath %s, softwareKey %s",
               proc->keyFilePath.c_str(), proc->processDbKey.c_str());
  return false;
}

bool ProcSoftware::addSoftwareRelated(PROC_EX_INFO_S* parent, PROC_EX_INFO_S* proc) {
  if (parent->processKey.empty()) return false;
  const auto found = mSoftware.find(parent->processDbKey);
  if (found == mSoftware.end()) {
    error_output(1, __func__, __LINE__,
                 "[COLLECT SOFT]process (%d) keyFilePath %s softwareKey %s, find software failed",
                 proc->pid, proc->keyFilePath.c_str(), parent->processDbKey.c_str());
    return false;
  }
  SOFTWARE_EX_S& entry = found->second;
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_SOFTWARE_RELATED);
  // The test is strict, so one process more than the limit is recorded;
  // consumers rely on it. Those beyond are dropped without a record.
  if (static_cast<long>(entry.relatedProcs.size()) > limit) {
    error_output(1, __func__, __LINE__,
                 "[COLLECT SOFT]soft (%s) relate process number %ld, exceed max %d ",
                 entry.name.c_str(), static_cast<long>(entry.relatedProcs.size()), limit);
    return true;
  }
  addProcSoftInfo(proc, entry);
  setRelatedValue(proc, entry);
  proc->processDbKey = parent->processDbKey;
  addSubProcess(proc, entry);
  // A worker that runs with other arguments can complete a software whose
  // first process gave no version or configuration.
  const bool complete = !entry.version.empty() && !entry.confPath.empty();
  if (!complete) proc->relatedIncomplete = true;
  if (dbUpdateProcessRelated(entry, parent->processDbKey)) return complete;
  // The process is read on its own now, but may only fill gaps of the entry
  // that it has joined, never replace it.
  proc->relatedIncomplete = true;
  return false;
}

void ProcSoftware::setRelatedValue(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  SOFTWARE_PROC_INFO_S related;
  related.pid = proc->pid;
  related.startTime = proc->startTime;
  related.path = proc->path;
  related.name = proc->name;
  related.version = proc->version;
  related.processKey = proc->processKey;
  soft.relatedProcs.push_back(std::move(related));
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]set related info: process %s software %s",
               proc->name.c_str(), soft.name.c_str());
}

bool ProcSoftware::setSoftwareMajorProcess(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft) {
  if (soft == nullptr) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]software is nullptr");
    return false;
  }
  soft->majorProcs.push_back(
      {proc->pid, soft->name, soft->version, proc->processKey, soft->confPath, {}});
  // The key may still be empty in this line: it is formed afterwards.
  error_output(2, __func__, __LINE__,
               "[COLLECT SOFT]new soft: process keyFilePath %s, softwareKey %s",
               proc->keyFilePath.c_str(), proc->processDbKey.c_str());
  return false;
}

void ProcSoftware::addSubProcess(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  if (soft.majorProcs.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]software %s majorProcess is empty",
                 soft.name.c_str());
    return;
  }
  soft.majorProcs.front().subProcesses.push_back({proc->pid, proc->processKey});
  error_output(2, __func__, __LINE__,
               "[COLLECT SOFT]add addSubProcess info: process %s software %s", proc->name.c_str(),
               soft.name.c_str());
}

void ProcSoftware::addMajorProcessDetailInfo(PROC_EX_INFO_S*, SOFTWARE_EX_S* soft) {
  if (soft == nullptr || soft->majorProcs.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]software or majorProcess is empty");
    return;
  }
  soft->majorProcs.front().confPath = soft->confPath;
  soft->majorProcs.front().version = soft->version;
}

void ProcSoftware::addProcSoftInfo(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  proc->version = soft.version;
  proc->appName = soft.name;
  proc->type = soft.appType;
}

void ProcSoftware::updateRelatedValue(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  for (SOFTWARE_PROC_INFO_S& related : soft.relatedProcs) {
    if (related.processKey != proc->processKey) continue;
    addProcSoftInfo(proc, soft);
    related.version = soft.version;
    related.confPath = soft.confPath;
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]update related info: config %s version %s",
                 soft.confPath.c_str(), soft.version.c_str());
  }
}

bool ProcSoftware::addProcSoftware(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_SOFTWARE);
  // Strict like the limit of related processes: one more than it is stored.
  if (static_cast<long>(mSoftware.size()) > limit) {
    error_output(0, __func__, __LINE__,
                 "[COLLECT SOFT] add software number %ld, exceed the maximum value",
                 static_cast<long>(mSoftware.size()));
    return false;
  }
  updateRelatedValue(proc, soft);
  addProcSoftInfo(proc, soft);
  SOFTWARE_EX_S& entry = mSoftware[proc->processDbKey];
  if (&entry != &soft) entry = soft;
  return true;
}

bool ProcSoftware::updateSoftwareData(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft,
                                      SOFTWARE_EX_S* target) {
  if (target == nullptr || proc == nullptr) return false;
  bool changed = false;
  if (target->version.empty() && !soft.version.empty()) {
    target->version = soft.version;
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]proc(%d) key %s app %s, update version %s success", proc->pid,
                 proc->processDbKey.c_str(), target->name.c_str(), target->version.c_str());
    changed = true;
  }
  if (target->confPath.empty() && !soft.confPath.empty()) {
    target->confPath = soft.confPath;
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]proc(%d) key %s app %s, update conf %s success", proc->pid,
                 proc->processDbKey.c_str(), target->name.c_str(), target->confPath.c_str());
    changed = true;
  }
  if (changed) target->collectTime = m_collectTime;
  return changed;
}

bool ProcSoftware::saveSoftwareData(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  SOFTWARE_EX_S* target = &soft;
  if (proc->relatedIncomplete) {
    const auto found = mSoftware.find(proc->processDbKey);
    if (found == mSoftware.end()) {
      error_output(0, __func__, __LINE__, "[COLLECT SOFT]proc(%d) %s key %s, get software failed",
                   proc->pid, proc->name.c_str(), proc->processDbKey.c_str());
      return false;
    }
    target = &found->second;
    if (!updateSoftwareData(proc, soft, target)) return true;
  }
  if (!addProcSoftware(proc, *target)) return false;
  SoftDbManage* cache = SoftDbManage::getSoftDBManage();
  if (cache == nullptr) return false;
  const bool saved = cache->insertSoftData(proc, *target) == 0;
  error_output(2, __func__, __LINE__,
               saved ? "[COLLECT SOFT]proc(%d) %s key %s app %s time %lld, insert db success"
                     : "[COLLECT SOFT]proc(%d) %s key %s app %s time %lld, insert db failed!",
               proc->pid, proc->name.c_str(), proc->processDbKey.c_str(), target->name.c_str(),
               target->collectTime);
  return saved;
}

bool ProcSoftware::dbUpdateProcessRelated(SOFTWARE_EX_S& soft, std::string& key) {
  SoftDbManage* cache = SoftDbManage::getSoftDBManage();
  if (cache == nullptr) return true;
  // Both messages name the software where they say "softwareKey"; whoever
  // reads the log relies on it.
  if (cache->updateSoftRelateInfo(soft.relatedProcs, key) != 0) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]softwareKey %s, update related info failed",
                 soft.name.c_str());
    return false;
  }
  if (cache->updateSubProcess(soft.majorProcs, key) != 0) {
    error_output(1, __func__, __LINE__,
                 "[COLLECT SOFT]softwareKey %s, update SubProcess info failed", soft.name.c_str());
    return false;
  }
  return true;
}

// The software key begins with the decimal pid, so "first" is by the text of
// the pid: process 1000 comes before process 999. Consumers rely on the order.
void ProcSoftware::uniqueProcSoftware(std::map<std::string, SOFTWARE_EX_S>& out) {
  for (const auto& [softwareKey, soft] : mSoftware) {
    const std::string product = soft.pkgKey.empty()
                                    ? soft.binaryPath + soft.name + soft.version + soft.confPath
                                    : soft.pkgKey;
    const auto [entry, inserted] = out.emplace(product + soft.containerId, soft);
    if (inserted) continue;
    SOFTWARE_EX_S& first = entry->second;
    first.relatedProcs.insert(first.relatedProcs.end(), soft.relatedProcs.begin(),
                              soft.relatedProcs.end());
    first.majorProcs.insert(first.majorProcs.end(), soft.majorProcs.begin(), soft.majorProcs.end());
  }
}

}  // namespace LedgoraCollect
