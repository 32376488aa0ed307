#include "hostmodel/ServicesCollectionUnit.h"

#include "common/support/Log.h"
#include "hostmodel/FileCollectionUnit.h"
#include "hostmodel/ServiceFileCollectionUnit.h"
#include "hostmodel/SystemctlFileCollectionUnit.h"

namespace LedgoraCollect {
namespace {

using Field = const std::string& (ProcessCacheUnit::*)() const;

bool findProcess(const std::string& value, Field field,
                 const ServicesCollectionUnit::Processes& processes, ProcessCacheUnit& out) {
  for (const auto& [pid, process] : processes) {
    if ((process.*field)() != value) continue;
    out = process;
    return true;
  }
  return false;
}

}  // namespace

ServicesCollectionUnit* ServicesCollectionUnit::getInstance(int type) {
  switch (type) {
    case SERVICE_TYPE_SYSTEMCTL:
      return new SystemctlFileCollectionUnit;
    case SERVICE_TYPE_SERVICE:
      return new ServiceFileCollectionUnit;
    default:
      return nullptr;
  }
}

bool ServicesCollectionUnit::getProcessByProcessName(const std::string& name,
                                                     const Processes& processes,
                                                     ProcessCacheUnit& out) {
  return findProcess(name, &ProcessCacheUnit::getMProcessName, processes, out);
}

bool ServicesCollectionUnit::getProcessByProcessPath(const std::string& path,
                                                     const Processes& processes,
                                                     ProcessCacheUnit& out) {
  return findProcess(path, &ProcessCacheUnit::getMProcessPath, processes, out);
}

void ServicesCollectionUnit::getCacheUnit(const SERVER_INFO_S& record, ServiceCacheUnit& unit) {
  unit.setServerName(record.serverName);
  unit.setServerStatus(record.serverStatus);
  unit.setStartUser(record.startUser);
  unit.setStartType(record.startType);
  unit.setStartTime(record.startTime);
  unit.setExecFilePath(record.execFilePath);
  unit.setServerDesc(record.serverDesc);
}

bool ServicesCollectionUnit::parseServiceDir(const std::string& directory, EntryCallback callback,
                                             void* context) const {
  FileCollectionUnit files;
  files.setEnvironment(environment);
  if (files.readDirFiles(directory, callback, context)) return true;
  error_output(1, __func__, __LINE__, "read dir files %s failed", directory.c_str());
  return false;
}

void ServicesCollectionUnit::takeProcess(const ProcessCacheUnit& process, ServiceCacheUnit& unit) {
  unit.setExecFilePath(process.getMKeyFilePath());
  unit.setServerStatusByProcess(process.getMProcessStatus());
  unit.setStartTime(static_cast<std::int64_t>(process.getMProcessStartTime()));
}

bool ServicesCollectionUnit::isNew(const ServiceCacheUnit& unit, std::set<std::string>& seen) {
  return seen.insert(unit.getMServerName() + unit.getMExecFilePath()).second;
}

}  // namespace LedgoraCollect
