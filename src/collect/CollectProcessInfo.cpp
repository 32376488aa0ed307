#include "collect/CollectProcessInfo.h"

#include "collect/support/JsonMembers.h"
#include "common/support/Log.h"
#include "hostmodel/LinuxProcessCollection.h"
#include "run/CollectLimit.h"
#include "run/ListDocument.h"
#include "software/ProcSoftware.h"

namespace LedgoraCollect {
namespace {

int containerKindOf(const std::string& type) {
  if (type == "docker") return 1;
  return type == "containerd" ? 2 : 0;
}

void copyReported(const ProcessCacheUnit& unit, PROCESS_INFO_S& record) {
  record.pid = unit.getMProcessPid();
  record.parentId = unit.getMParentPid();
  record.startTime = static_cast<long long>(unit.getMProcessStartTime());
  record.name = unit.getMProcessName();
  record.status = unit.getMProcessStatus();
  record.cpuUsage = unit.getMProcessCpuUsage();
  record.userName = unit.getMUserName();
  record.userUid = unit.getMUserUid();
  record.groupName = unit.getMGroupName();
  record.cmdLine = unit.getMProcessCmdline();
  record.memUsage = unit.getMProcessMemoryUsage();
  record.path = unit.getMProcessPath();
  record.processKey = unit.getMProcessKey();
  record.tty = unit.getMProcessTty();
  record.containerKind = containerKindOf(unit.getMContainerType());
  record.containerIdentity = unit.getMContainerId();
}

PROC_EX_INFO_S recordOf(ProcessCacheUnit& unit) {
  PROC_EX_INFO_S record;
  copyReported(unit, record);
  record.interpreter.path = unit.getMInterpreterPath();
  record.interpreter.language = unit.getMInterpreterLanguage();
  record.interpreter.isInterpreter = unit.getMInterpreterLanguage() != "linux";
  record.container.containerPath = unit.getMContainerPath();
  record.container.containerId = unit.getMContainerId();
  record.container.containerType = unit.getMContainerType();
  record.processStarArgs = unit.getMProcessStarArgs();
  record.keyFilePath = unit.getMKeyFilePath();
  record.processBasePath = unit.getMProcessBasePath();
  record.keyFilePathFlag = unit.getMKeyFilePathFlag();
  record.processEnv = unit.releaseProcessEnv();
  return record;
}

// The members that are plain strings, in the document's order around the
// others: the ids and the container stand at their own places below.
using Text = std::string PROCESS_INFO_S::*;
struct Member {
  const char* key;
  Text text;
};
constexpr Member kBeforeParentId[] = {
    {"process_name", &PROCESS_INFO_S::name},
    {"process_path", &PROCESS_INFO_S::path},
    {"process_cmd_line", &PROCESS_INFO_S::cmdLine},
    {"is_package_install", &PROCESS_INFO_S::isPackageInstall},
};
constexpr Member kBeforeEnvironment[] = {
    {"parent_name", &PROCESS_INFO_S::parentName},
    {"type", &PROCESS_INFO_S::type},
    {"process_version", &PROCESS_INFO_S::procVersion},
    {"version", &PROCESS_INFO_S::version},
    {"status", &PROCESS_INFO_S::status},
    {"cpu_usage", &PROCESS_INFO_S::cpuUsage},
    {"mem_usage", &PROCESS_INFO_S::memUsage},
    {"description", &PROCESS_INFO_S::description},
    {"signer_name", &PROCESS_INFO_S::signerName},
    {"product_name", &PROCESS_INFO_S::productName},
    {"original_filename", &PROCESS_INFO_S::originalFilename},
    {"icon_hash", &PROCESS_INFO_S::iconHash},
    {"copyright", &PROCESS_INFO_S::copyright},
};
constexpr Member kLast[] = {
    {"process_md5", &PROCESS_INFO_S::md5},
    {"proc_key", &PROCESS_INFO_S::processKey},
    {"process_user_name", &PROCESS_INFO_S::userName},
    {"process_user_uid", &PROCESS_INFO_S::userUid},
    {"process_group_name", &PROCESS_INFO_S::groupName},
    {"tty", &PROCESS_INFO_S::tty},
    {"app_name", &PROCESS_INFO_S::appName},
};

template <std::size_t Count>
void addMembers(cJSON* object, const PROCESS_INFO_S& process, const Member (&members)[Count]) {
  for (const Member& member : members) addText(object, member.key, process.*member.text);
}

void addEnvironment(cJSON* object, const PROCESS_INFO_S& process) {
  cJSON* environment = cJSON_CreateObject();
  if (environment == nullptr) return;
  addNumber(environment, "type", process.containerKind);
  addText(environment, "id", process.containerIdentity);
  cJSON_AddItemToObject(object, "environment", environment);
}

void addProcess(cJSON* object, const PROCESS_INFO_S& process) {
  addText(object, "process_id", unsignedText(process.pid));
  addMembers(object, process, kBeforeParentId);
  addText(object, "parent_id", unsignedText(process.parentId));
  addMembers(object, process, kBeforeEnvironment);
  addEnvironment(object, process);
  // Milliseconds by their form; the last three digits are always 0.
  addText(object, "start_time",
          std::to_string(static_cast<unsigned long long>(process.startTime)) + "000");
  addMembers(object, process, kLast);
}

/// Whether the option's container bits keep the record; the log tells of one left out.
bool isSelected(const CollectBase& collector, const PROCESS_INFO_S& process) {
  const bool inContainer = !process.containerIdentity.empty();
  if (collector.keepsRecord(inContainer)) return true;
  // The word "Jar" is what readers of the log search for when the host's are left out.
  error_output(1, "dataToJson", __LINE__,
               inContainer ? "Process :%s will not output" : "Jar :%s will not output",
               process.name.c_str());
  return false;
}

}  // namespace

bool CollectProcessInfo::collectImple(cJSON* root) {
  ProcSoftware* software = ProcSoftware::getInstance();
  std::map<int, PROC_EX_INFO_S>& processes = *software->getProcessInfo();
  if (!parseProcessesInfo(processes)) return false;
  // With the bit set, or when the rules can't be loaded, the fields of
  // identification stay empty.
  if ((getOption() & kOptionQuick) == 0 && software->init()) {
    software->setMEnv(getMEnv());
    software->collectALlSoftware();
  }
  std::vector<PROCESS_INFO_S> list;
  list.reserve(processes.size());
  for (const auto& [pid, process] : processes) list.push_back(process);
  const int result = dataToJson(&list, root);
  if (result != 0) {
    error_output(0, __func__, __LINE__, "Failed to get json result, error code=%d", result);
  }
  return result == 0;
}

bool CollectProcessInfo::parseProcessesInfo(std::map<int, PROC_EX_INFO_S>& processes) const {
  LinuxProcessCollection collection;
  collection.setEnvironment(getMEnv());
  collection.setEnvironmentsWanted((getOption() & kOptionQuick) == 0);
  if (!collection.collect()) return false;
  std::map<int, ProcessCacheUnit> table = collection.releaseProcessInfo();
  for (auto& [pid, unit] : table) {
    PROC_EX_INFO_S record = recordOf(unit);
    // Processes whose own parent is 0 aren't in the table, so the children of
    // init have no parent name.
    const auto parent = table.find(record.parentId);
    if (parent != table.end()) record.parentName = parent->second.getMProcessName();
    processes.emplace(pid, std::move(record));
  }
  return true;
}

int CollectBase::dataToJson(std::vector<PROCESS_INFO_S>* list, cJSON* root) {
  ListDocument document(__func__);
  if (!document) return -1;
  // Records that the option leaves out count against the limit, too.
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_PROCESS);
  int count = 0;
  for (const PROCESS_INFO_S& process : *list) {
    if (++count > limit) break;
    if (!isSelected(*this, process)) continue;
    cJSON* const object = document.append();
    if (object == nullptr) break;
    addProcess(object, process);
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
