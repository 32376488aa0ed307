#include "network/CollectPortInfo.h"

#include <cstdlib>

#include "collect/CollectSystemInfo.h"
#include "collect/support/JsonMembers.h"
#include "common/RegexUtils.h"
#include "common/support/Log.h"
#include "hostmodel/LinuxProcessCollection.h"
#include "network/CollectNetConnectInfo.h"
#include "run/CollectLimit.h"
#include "run/ListDocument.h"

namespace LedgoraCollect {
namespace {

// The first process of a container that is met stands for the network
// namespace of the whole container, so that a container costs one reading.
CollectPortInfo::ContainerMap readContainerTables(const CollectNetConnectInfo& network,
                                                  const CollectPortInfo::ProcessMap& processes) {
  CollectPortInfo::ContainerMap containers;
  for (const auto& [pid, process] : processes) {
    const std::string& id = process.getMContainerId();
    if (id.empty() || containers.count(id) != 0) continue;
    network.genericRecordGet(containers[id], FUNCTION_TYPE_PORT, pid);
  }
  return containers;
}

// One digit between the dots, and no anchor: 127.10.0.1 counts as open to
// others. Of IPv6 addresses the test finds the loopback, which the tables give
// as "::100:0", but also others that hold this text. Consumers rely on both.
int isLocalOnly(std::string address) {
  return regex_match(address, "127.\\d.\\d.\\d") || address.find("::1") != std::string::npos ? 1
                                                                                             : 0;
}

int environmentTypeOf(const ProcessCacheUnit& process) {
  if (process.getMContainerId().empty()) return 0;
  if (process.getMContainerType() == "docker") return 1;
  return process.getMContainerType() == "containerd" ? 2 : 0;
}

PORT_INFO_S rowOf(const NETWORK_INFO_S& socket, const ProcessCacheUnit& process,
                  const std::string& hostType) {
  PORT_INFO_S row;
  row.port = static_cast<unsigned int>(std::strtol(socket.localPort.c_str(), nullptr, 10));
  row.pid = socket.pid;
  row.open = isLocalOnly(socket.localAddress);
  row.address = socket.localAddress;
  row.protocol = socket.protocol;
  row.cmdline = process.getMProcessCmdline();
  row.groupName = process.getMGroupName();
  row.processName = process.getMProcessName();
  row.processPath = process.getMProcessPath();
  row.userName = process.getMUserName();
  row.environmentType = environmentTypeOf(process);
  row.containerId = process.getMContainerId();
  row.guid = process.getMUserUid();
  row.processKey = process.getMProcessKey();
  row.hostType = hostType;
  row.startTime = process.getMProcessStartTime();
  return row;
}

// The sockets among which those of a process are looked for; null if none.
SocketMap* socketsOf(const ProcessCacheUnit& process, SocketMap& host,
                     CollectPortInfo::ContainerMap& containers) {
  if (process.getMContainerId().empty()) return &host;
  const auto container = containers.find(process.getMContainerId());
  return container == containers.end() ? nullptr : &container->second;
}

void setOwner(NETWORK_INFO_S& socket, const USER_ENTRY_S& owner) {
  socket.pid = owner.pid;
  socket.processName = owner.processName;
  error_output(2, "getProcessInfoByInode", __LINE__,
               "[CollectPortInfo]local addr: %s local port :%s remote addr :%s remote port: %s, "
               "protocol: %s processName: %s pid: %d \n",
               socket.localAddress.c_str(), socket.localPort.c_str(), socket.remoteAddress.c_str(),
               socket.remotePort.c_str(), socket.protocol.c_str(), socket.processName.c_str(),
               socket.pid);
}

void addEnvironment(cJSON* object, const PORT_INFO_S& row) {
  cJSON* environment = cJSON_CreateObject();
  if (environment == nullptr) return;
  addNumber(environment, "type", row.environmentType);
  addText(environment, "id", row.containerId);
  cJSON_AddItemToObject(object, "environment", environment);
}

void addPort(cJSON* object, const PORT_INFO_S& row) {
  addText(object, "port", std::to_string(row.port));
  addText(object, "address", row.address);
  addText(object, "protocol", row.protocol);
  addText(object, "process_name", row.processName);
  addText(object, "process_path", row.processPath);
  addText(object, "process_cmd_line", row.cmdline);
  addText(object, "process_group_name", row.groupName);
  addText(object, "process_guid", row.guid);
  addText(object, "process_md5", row.md5);
  addText(object, "process_id", unsignedText(row.pid));
  addText(object, "process_user_name", row.userName);
  addText(object, "host_type", row.hostType);
  addNumber(object, "open", row.open);
  addEnvironment(object, row);
  // Milliseconds by their form; the last three digits are always 0.
  addText(object, "start_time", std::to_string(row.startTime) + "000");
  addText(object, "proc_key", row.processKey);
}

}  // namespace

bool CollectPortInfo::collectImple(cJSON* root) {
  std::vector<PORT_INFO_S> rows;
  getHostPort(rows);  // without a process table the document has an empty list
  const int result = dataToJson(&rows, root);
  if (result != 0) {
    error_output(0, __func__, __LINE__, "[CollectPortInfo]Failed to get json result, error code=%d",
                 result);
  }
  return result == 0;
}

bool CollectPortInfo::getHostPort(std::vector<PORT_INFO_S>& rows) {
  LinuxProcessCollection collection;
  collection.setEnvironment(getMEnv());
  collection.setEnvironmentsWanted(false);
  if (!collection.collect() || collection.getMProcessInfo().empty()) {
    error_output(0, __func__, __LINE__, "[CollectPortInfo]get process info error.");
    return false;
  }
  const ProcessMap& processes = collection.getMProcessInfo();
  CollectNetConnectInfo network;
  network.setEnv(getMEnv());
  SocketMap hostMap;
  network.genericRecordGet(hostMap, FUNCTION_TYPE_PORT, 0);
  CollectSystemInfo system;
  system.setEnv(getMEnv());
  mHostType = system.getHostType();
  OwnerMap owners;
  network.userEntryHashBuild(owners);
  ContainerMap containerMap = readContainerTables(network, processes);
  getProcessInfoByInode(hostMap, containerMap, rows, processes, owners);
  return true;
}

void CollectPortInfo::getProcessInfoByInode(SocketMap& hostMap, ContainerMap& containerMap,
                                            std::vector<PORT_INFO_S>& rows,
                                            const ProcessMap& processMap,
                                            const OwnerMap& userMap) const {
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_CONNECTION);
  for (const auto& [inode, owner] : userMap) {
    const auto process = processMap.find(owner.pid);
    if (process == processMap.end() || owner.pid < 0) {
      LEDGORA_DEBUG("[CollectPortInfo]get pid: %d or process is null.", owner.pid);
      continue;
    }
    SocketMap* sockets = socketsOf(process->second, hostMap, containerMap);
    if (sockets == nullptr) continue;
    const auto socket = sockets->find(inode);
    if (socket == sockets->end()) continue;
    setOwner(socket->second, owner);
    // A limit of 0 or less holds nothing; any other is exceeded by one row.
    if (limit > 0) rows.push_back(rowOf(socket->second, process->second, mHostType));
    if (limit > 0 && static_cast<int>(rows.size()) <= limit) continue;
    error_output(1, __func__, __LINE__, "[CollectPortInfo]allPortInfo size is lager limit: %d",
                 limit);
    break;
  }
}

// The rows were gathered up to the limit of connections and are written up to
// that of ports. Records that the option leaves out count against it, too.
int CollectBase::dataToJson(std::vector<PORT_INFO_S>* list, cJSON* root) {
  ListDocument document(__func__);
  if (!document) return -1;
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_PORT_LISTENING);
  int count = 0;
  for (const PORT_INFO_S& row : *list) {
    if (++count > limit) break;
    if (!keepsRecord(!row.containerId.empty())) {
      error_output(1, __func__, __LINE__, "port :%u will not output, pid: %d", row.port, row.pid);
      continue;
    }
    cJSON* const object = document.append();
    if (object == nullptr) break;
    addPort(object, row);
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
