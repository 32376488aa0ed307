#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "network/NetworkRecords.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// One row of type 15.
struct NETWORK_CONNECT_INFO_S {
  int pid = 0;
  std::string localAddress;
  std::string localPort;
  std::string remoteAddress;
  std::string remotePort;
  std::string protocol;
  std::string processName;
  std::string process;  // the same name once more
};

/// Type 15: established connections with the processes that own them. Also
/// reads socket tables and owners for the listening ports.
class CollectNetConnectInfo : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  /// Appends the rows in ascending order of inode, one more than the limit
  /// E_HOST_CONNECTION at most. Always 1.
  int getNetworkConnectInfo(std::vector<NETWORK_CONNECT_INFO_S>& rows);
  /// Adds the sockets of all four tables: of the network namespace of process
  /// `pid`, or with 0 of our own. Always 1.
  int genericRecordGet(SocketMap& sockets, int functionType, int pid) const;
  /// Adds those of one table: 1 net/tcp, 2 net/tcp6, 3 net/udp, 4 net/udp6. An
  /// inode that is there stays as it is. 0, also when the table can't be
  /// opened; -1 for another number or a table without a heading.
  int genericRecordRead(int table, SocketMap& sockets, int functionType, int pid) const;
  /// Opens a table below the proc root: the value of `variable` in the
  /// inspected machine's environment, without one "/proc". Null on failure.
  FILE* generic_proc_open(const std::string& variable, const char* name, int pid) const;
  /// Adds the owners of all sockets in the proc root ("PROC_ROOT" replaces
  /// it). Works once in the life of the program: walking the descriptors of
  /// all processes is what costs here.
  void userEntryHashBuild(OwnerMap& owners) const;

 private:
  OwnerMap mUserEntry;
};

}  // namespace LedgoraCollect
