#include "hostmodel/SystemctlFileCollectionUnit.h"

#include <pwd.h>

#include <charconv>

#include "common/InspectedRoot.h"
#include "common/RegexUtils.h"
#include "common/StringUtils.h"
#include "common/support/Handles.h"
#include "common/support/IniFile.h"
#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kUnitDirs[] = {"/usr/lib/systemd/system", "/usr/lib/systemd/user",
                                     "/lib/systemd/system",     "/lib/systemd/user",
                                     "/etc/systemd/system",     "/etc/systemd/user"};
constexpr int kPidFileBytes = 20'971'520;

using IniHandle = std::unique_ptr<void, Releaser<ini_file_free>>;

struct UnitWalk {
  SystemctlFileCollectionUnit& unit;
  std::vector<ServiceCacheUnit>& services;
  std::set<std::string>& seen;
  const ServicesCollectionUnit::Processes& processes;
};

// A unit file is often a link: it is opened where it leads inside its root.
IniHandle loadUnitFile(const std::string& path) {
  const InspectedPath held(path);
  return IniHandle(held ? ini_file_load(held.path().c_str()) : nullptr);
}

}  // namespace

bool SystemctlFileCollectionUnit::collectServices(std::vector<ServiceCacheUnit>& services,
                                                  std::set<std::string>& seen,
                                                  const Processes& processes) {
  mFileUnit.setTarget(environment);
  UnitWalk walk{*this, services, seen, processes};
  for (const char* directory : kUnitDirs) {
    if (!parseServiceDir(directory, unitFileCB, &walk)) {
      error_output(1, __func__, __LINE__, "parse service dir %s failed", directory);
    }
  }
  return !services.empty();
}

bool SystemctlFileCollectionUnit::parseUnitName(const std::string& fileName,
                                                std::string& serverName) {
  std::string text = fileName;
  return regex_interface(text, serverName, "(.+)\\.service$");
}

bool SystemctlFileCollectionUnit::unitFileCB(const std::string& path, void* context) {
  const auto& walk = *static_cast<UnitWalk*>(context);
  std::string name;
  if (!parseUnitName(path.substr(path.rfind('/') + 1), name)) return false;
  error_output(2, __func__, __LINE__, "file path is %s server name is %s.", path.c_str(),
               name.c_str());
  ServiceCacheUnit unit;
  unit.setServerName(name);
  walk.unit.getServiceCacheInfo(path, unit, walk.processes);
  // A file that overrides another and names another program stays beside it,
  // as a second service of that name.
  if (isNew(unit, walk.seen)) {
    walk.services.push_back(unit);
  } else {
    error_output(1, __func__, __LINE__, "service (%s) has collect.", name.c_str());
  }
  return false;
}

void SystemctlFileCollectionUnit::getServiceCacheInfo(const std::string& path,
                                                      ServiceCacheUnit& unit,
                                                      const Processes& processes) {
  const IniHandle ini = loadUnitFile(path);
  if (!ini) {
    error_output(1, __func__, __LINE__, "ini_file_load failed file path is %s", path.c_str());
    return;
  }
  const auto value = [&ini](const char* section, const char* key) {
    const char* text = ini_file_get(ini.get(), section, key);
    return std::string(text == nullptr ? "" : text);
  };
  if (!getServicePath(value("Service", "ExecStart"), unit)) {
    error_output(1, __func__, __LINE__, "get service path failed");
  }
  unit.setServerDesc(value("Unit", "Description"));
  std::string user = value("Service", "User");
  if (!user.empty() || getServiceUser(path, user)) unit.setStartUser(user);
  const std::string pidFile = value("Service", "PIDFile");
  if (!pidFile.empty() && getServicePidInfoByFile(pidFile, unit, processes)) return;
  getServiceStatusByProcess(unit, processes);
}

bool SystemctlFileCollectionUnit::getServicePath(const std::string& execStart,
                                                 ServiceCacheUnit& unit) {
  for (const std::string& word : StringUtils::split(execStart, " ", true)) {
    const std::size_t slash = word.find('/');
    if (slash == std::string::npos) continue;
    const std::string path = StringUtils::trim(word.substr(slash), ";");
    if (!checkServicePath(path)) continue;
    unit.setExecFilePath(path);
    break;
  }
  return !unit.getMExecFilePath().empty();
}

bool SystemctlFileCollectionUnit::checkServicePath(const std::string& path) {
  std::string text = path;
  return !regex_match(text, "/sh$") && !regex_match(text, "/bash$");
}

// The owner is named by the accounts of the running system, in a root too.
bool SystemctlFileCollectionUnit::getServiceUser(const std::string& path, std::string& user) {
  struct stat status {};
  if (lstatInspected(path, status) != 0) {
    error_output(1, __func__, __LINE__, "get path (%s) stat failed!", path.c_str());
    return false;
  }
  const struct passwd* account = ::getpwuid(status.st_uid);
  if (account == nullptr) {
    error_output(1, __func__, __LINE__, "get path (%s) pwuid failed!", path.c_str());
    return false;
  }
  user = account->pw_name;
  return true;
}

bool SystemctlFileCollectionUnit::readPidFile(const std::string& path, int& pid) const {
  std::string text;
  // A relative path on the host would name a file of the tool's own directory.
  const bool named = path.front() == '/' || !mFileUnit.getMTarget().empty();
  if (!named || !mFileUnit.readFileContent(path, text, kPidFileBytes, 0)) {
    error_output(1, __func__, __LINE__, "get file %s content failed", path.c_str());
    return false;
  }
  std::string digits;
  if (!regex_interface(text, digits, "(\\d+)")) {
    error_output(1, __func__, __LINE__, "get file %s content is not exit pid", path.c_str());
    return false;
  }
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), pid);
  if (result.ec != std::errc()) {
    error_output(1, __func__, __LINE__, "get pid failed, %s", digits.c_str());
    return false;
  }
  return true;
}

bool SystemctlFileCollectionUnit::getServicePidInfoByFile(const std::string& path,
                                                          ServiceCacheUnit& unit,
                                                          const Processes& processes) const {
  int pid = 0;
  if (!readPidFile(path, pid)) return false;
  error_output(2, __func__, __LINE__, "pid file pid is %d.", pid);
  const auto process = processes.find(pid);
  if (process == processes.end()) return false;
  takeProcess(process->second, unit);
  return true;
}

// A unit without an executable isn't looked up by it: it would meet whichever
// process has lost its own (a daemon that was updated while it ran), and a
// oneshot that isn't running would count as "RUN".
void SystemctlFileCollectionUnit::getServiceStatusByProcess(ServiceCacheUnit& unit,
                                                            const Processes& processes) {
  const std::string& path = unit.getMExecFilePath();
  ProcessCacheUnit process;
  if (!getProcessByProcessName(unit.getMServerName(), processes, process) &&
      (path.empty() || !getProcessByProcessPath(path, processes, process))) {
    error_output(1, __func__, __LINE__, "get processCacheUnit failed");
    return;
  }
  takeProcess(process, unit);
}

}  // namespace LedgoraCollect
