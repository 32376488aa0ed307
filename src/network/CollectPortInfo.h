#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "hostmodel/ProcessCacheUnit.h"
#include "network/NetworkRecords.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// One row of type 5.
struct PORT_INFO_S {
  unsigned int port = 0;
  int pid = 0;
  int open = 0;  // 1: reachable on the machine itself only
  std::string address;
  std::string protocol;
  std::string cmdline;
  std::string groupName;
  std::string md5;  // always empty
  std::string processName;
  std::string processPath;
  std::string userName;
  int environmentType = 0;  // 0 host or other, 1 "docker", 2 "containerd"
  std::string containerId;
  std::string guid;  // the user's uid
  std::string processKey;
  std::string hostType;
  std::uint64_t startTime = 0;  // seconds since the epoch
};

/// Type 5: the sockets on which processes of the host and of its containers
/// listen.
class CollectPortInfo : public CollectBase {
 public:
  using ContainerMap = std::map<std::string, SocketMap>;  // by container id
  using ProcessMap = std::map<int, ProcessCacheUnit>;

  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  /// Appends the rows in ascending order of inode, one more than the limit
  /// E_HOST_CONNECTION at most. False without a process table.
  bool getHostPort(std::vector<PORT_INFO_S>& rows);
  /// Joins owners with their processes and sockets; a process in a container
  /// with those of its container. Sets pid and process name of sockets found.
  void getProcessInfoByInode(SocketMap& hostMap, ContainerMap& containerMap,
                             std::vector<PORT_INFO_S>& rows, const ProcessMap& processMap,
                             const OwnerMap& userMap) const;

 private:
  std::string mHostType;
};

}  // namespace LedgoraCollect
