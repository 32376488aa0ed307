#include "network/CollectNetConnectInfo.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <climits>
#include <iterator>

#include "collect/support/JsonMembers.h"
#include "common/InspectedRoot.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "hostmodel/EnvCmdCollectionUnit.h"
#include "network/SocketLine.h"
#include "network/SocketOwners.h"
#include "network/SocketTable.h"
#include "run/CollectLimit.h"
#include "run/ListDocument.h"

namespace LedgoraCollect {
namespace {

constexpr int kTableNumbers = 5;  // the last one has no table

constexpr struct {
  const char* variable;
  const char* name;
  const char* protocol;
  int family;
} kTables[] = {
    {"PROC_NET_TCP", "net/tcp", "tcp", AF_INET},
    {"PROC_NET_TCP6", "net/tcp6", "tcp", AF_INET6},
    {"PROC_NET_UDP", "net/udp", "udp", AF_INET},
    {"PROC_NET_UDP6", "net/udp6", "udp", AF_INET6},
};

std::string hostVariable(const std::string& env, const std::string& name) {
  EnvCmdCollectionUnit shell;
  shell.setEnvironment(env);
  std::string value;
  shell.collectHostEnvValue(name, value);
  return value;
}

NETWORK_CONNECT_INFO_S rowOf(const NETWORK_INFO_S& socket, const USER_ENTRY_S& owner) {
  LEDGORA_DEBUG(
      "[CollectNetworkConnectInfo]local ip :%s port: %s remote ip: %s port: %s protocol: %s "
      "processName: %s pid: %d \n",
      socket.localAddress.c_str(), socket.localPort.c_str(), socket.remoteAddress.c_str(),
      socket.remotePort.c_str(), socket.protocol.c_str(), owner.processName.c_str(), owner.pid);
  return {owner.pid,         socket.localAddress, socket.localPort,  socket.remoteAddress,
          socket.remotePort, socket.protocol,     owner.processName, owner.processName};
}

// More than the limit, as the lists of this collector count: one more than the
// limit fits, but a limit of 0 or less holds nothing.
bool isOverLimit(std::size_t rows, int limit) {
  if (limit > 0 && static_cast<int>(rows) <= limit) return false;
  error_output(1, "getNetworkConnectInfo", __LINE__,
               "[CollectNetworkConnectInfo]vecNetworkConnect size is lager limit: %d", limit);
  return true;
}

void addConnection(cJSON* object, const NETWORK_CONNECT_INFO_S& row) {
  addNumber(object, "process_id", row.pid);
  addText(object, "local_addr", row.localAddress);
  addText(object, "local_port", row.localPort);
  addText(object, "remote_addr", row.remoteAddress);
  addText(object, "remote_port", row.remotePort);
  addText(object, "protocol", row.protocol);
  addText(object, "process", row.process);
  addText(object, "process_name", row.processName);
}

}  // namespace

bool CollectNetConnectInfo::collectImple(cJSON* root) {
  std::vector<NETWORK_CONNECT_INFO_S> rows;
  getNetworkConnectInfo(rows);
  const int result = dataToJson(&rows, root);
  if (result != 0) {
    error_output(0, __func__, __LINE__,
                 "[CollectNetworkConnectInfo]Failed to get json result, error code=%d", result);
  }
  return result == 0;
}

int CollectNetConnectInfo::getNetworkConnectInfo(std::vector<NETWORK_CONNECT_INFO_S>& rows) {
  SocketMap sockets;
  genericRecordGet(sockets, FUNCTION_TYPE_NET, 0);
  userEntryHashBuild(mUserEntry);
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_CONNECTION);
  for (const auto& [inode, socket] : sockets) {
    if (isOverLimit(rows.size(), limit)) break;
    const auto owner = mUserEntry.find(inode);
    if (owner == mUserEntry.end() || owner->second.processName.empty()) continue;
    rows.push_back(rowOf(socket, owner->second));
  }
  return 1;
}

int CollectNetConnectInfo::genericRecordGet(SocketMap& sockets, int functionType, int pid) const {
  for (int table = 1; table <= kTableNumbers; ++table) {
    genericRecordRead(table, sockets, functionType, pid);
  }
  return 1;
}

int CollectNetConnectInfo::genericRecordRead(int table, SocketMap& sockets, int functionType,
                                             int pid) const {
  if (table < 1 || table > static_cast<int>(std::size(kTables))) return -1;
  const auto& kind = kTables[table - 1];
  FileHandle stream(generic_proc_open(kind.variable, kind.name, pid));
  if (!stream) return 0;
  SocketTable lines(std::move(stream));
  if (!lines.skipHeading()) return -1;
  while (char* line = lines.nextLine()) {
    NETWORK_INFO_S socket;
    if (getNetworkBaseInfo(line, lines.length(), kind.family, &socket, functionType) != 0) continue;
    socket.protocol = kind.protocol;
    sockets.emplace(socket.inode, std::move(socket));
  }
  return 0;
}

FILE* CollectNetConnectInfo::generic_proc_open(const std::string& variable, const char* name,
                                               int pid) const {
  std::string path = hostVariable(getMEnv(), variable);
  if (path.empty()) path = "/proc";
  if (pid != 0) path += "/" + std::to_string(pid);
  path.append("/").append(name);
  if (path.size() >= PATH_MAX) return nullptr;
  FileDescriptor file = openInspected(addEnvPath(getMEnv(), path), O_RDONLY);
  FILE* stream = file ? ::fdopen(file.get(), "r") : nullptr;
  if (stream != nullptr) file.release();
  return stream;
}

void CollectNetConnectInfo::userEntryHashBuild(OwnerMap& owners) const {
  static bool user_ent_hash_build_init = false;
  if (user_ent_hash_build_init) {
    error_output(2, __func__, __LINE__, "[CollectNetworkConnectInfo]user_entry_hash build.");
    return;
  }
  user_ent_hash_build_init = true;
  const std::string root = hostVariable(getMEnv(), "PROC_ROOT");
  collectSocketOwners(addEnvPath(getMEnv(), root.empty() ? "/proc/" : root), owners);
}

// The rows were gathered up to the limit of connections and are written up to
// the limit of listening ports. Consumers are laid out for these lengths.
int CollectBase::dataToJson(std::vector<NETWORK_CONNECT_INFO_S>* list, cJSON* root) {
  ListDocument document(__func__);
  if (!document) return -1;
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_PORT_LISTENING);
  int count = 0;
  for (const NETWORK_CONNECT_INFO_S& row : *list) {
    if (++count > limit) break;
    cJSON* const object = document.append();
    if (object == nullptr) break;
    addConnection(object, row);
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
