#include "hostmodel/ServiceFileCollectionUnit.h"

#include <fcntl.h>
#include <unistd.h>

#include "common/InspectedRoot.h"
#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kScriptDirs[] = {"/etc/init.d", "/etc/rc.d/init.d"};

struct ScriptWalk {
  std::vector<ServiceCacheUnit>& services;
  std::set<std::string>& seen;
  const ServicesCollectionUnit::Processes& processes;
};

// The test is put to what the path leads to inside the inspected root.
bool isExecutable(const std::string& path) {
  const FileDescriptor script = openInspected(path, O_PATH);
  if (!script) return false;
  const std::string held = "/proc/self/fd/" + std::to_string(script.get());
  return ::access(held.c_str(), X_OK) == 0;
}

}  // namespace

bool ServiceFileCollectionUnit::collectServices(std::vector<ServiceCacheUnit>& services,
                                                std::set<std::string>& seen,
                                                const Processes& processes) {
  ScriptWalk walk{services, seen, processes};
  for (const char* directory : kScriptDirs) {
    if (!parseServiceDir(directory, scriptCB, &walk)) {
      error_output(1, __func__, __LINE__, "parse service dir %s failed", directory);
    }
  }
  return true;
}

bool ServiceFileCollectionUnit::scriptCB(const std::string& path, void* context) {
  const auto& walk = *static_cast<ScriptWalk*>(context);
  const std::string name = path.substr(path.rfind('/') + 1);
  if (name.empty() || !isExecutable(path)) {
    error_output(1, __func__, __LINE__, "service name is empty file path is %s.", path.c_str());
    return false;
  }
  error_output(2, __func__, __LINE__, "file path is %s server name is %s.", path.c_str(),
               name.c_str());
  ServiceCacheUnit unit;
  unit.setServerName(name);
  getServiceCacheInfo(walk.processes, unit);
  if (isNew(unit, walk.seen)) {
    walk.services.push_back(unit);
  } else {
    error_output(1, __func__, __LINE__, "service (%s) has collect path is %s.", name.c_str(),
                 path.c_str());
  }
  return false;
}

void ServiceFileCollectionUnit::getServiceCacheInfo(const Processes& processes,
                                                    ServiceCacheUnit& unit) {
  ProcessCacheUnit process;
  if (!getProcessByProcessName(unit.getMServerName(), processes, process)) {
    error_output(1, __func__, __LINE__, "get process cache failed name is %s.",
                 unit.getMServerName().c_str());
    return;
  }
  takeProcess(process, unit);
  unit.setStartUser(process.getMUserName());
}

}  // namespace LedgoraCollect
