#pragma once

#include <map>
#include <string>

namespace LedgoraCollect {

/// What is looked for in the socket tables.
constexpr int FUNCTION_TYPE_PORT = 1;  // sockets that wait for others: states 7 and 10
constexpr int FUNCTION_TYPE_NET = 2;   // established connections: state 1

/// The addresses of one line of a socket table as text.
struct INET_PREFIX_S {
  int localPort = 0;
  int remotePort = 0;
  int family = 0;  // 2: IPv4, 10: IPv6
  char localAddress[64] = {};
  char remoteAddress[64] = {};
};

/// One socket of the tables.
struct NETWORK_INFO_S {
  std::string localAddress;
  std::string localPort;  // decimal
  std::string remoteAddress;
  std::string remotePort;   // decimal
  std::string protocol;     // "tcp" or "udp"
  std::string processName;  // known when the socket met its owner
  int pid = 0;              // likewise
  unsigned int inode = 0;
};

/// The owner of one socket.
struct USER_ENTRY_S {
  int fd = -1;
  std::string processName;  // as the process's stat file tells it
  unsigned int inode = 0;
  int pid = 0;
};

/// Sockets and owners by the socket's inode.
using SocketMap = std::map<unsigned int, NETWORK_INFO_S>;
using OwnerMap = std::map<unsigned int, USER_ENTRY_S>;

}  // namespace LedgoraCollect
