#include <arpa/inet.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/support/BoundedString.h"
#include "common/support/Ipv6Text.h"
#include "common/support/Log.h"
#include "network/SocketLine.h"

namespace LedgoraCollect {
namespace {

constexpr char kMappedDigits[] = "0000000000000000FFFF0000";
constexpr std::size_t kMappedLength = sizeof kMappedDigits - 1;

struct Endpoint {
  std::string address;
  int port = 0;
};

// "%lx:%x": the number is the address as it lies in the kernel's memory.
Endpoint readIpv4(const char* field) {
  char* end = nullptr;
  in_addr address{};
  address.s_addr = static_cast<in_addr_t>(std::strtoul(field, &end, 16));
  Endpoint endpoint;
  if (end != field && *end == ':') {
    endpoint.port = static_cast<int>(std::strtoul(end + 1, nullptr, 16));
  }
  char text[INET_ADDRSTRLEN] = {};
  endpoint.address = ::inet_ntop(AF_INET, &address, text, sizeof text);
  return endpoint;
}

// The kernel prints each 32-bit word of an address in the machine's order, and
// the groups are taken as they stand, without an exchange of bytes: on these
// machines the loopback reads "::100:0", and every other address but the
// mapped ones is scrambled in the same way. Consumers know addresses by this
// text, so it must stay.
Endpoint readIpv6(const char* field) {
  char g[8][5] = {};
  unsigned int port = 0;
  std::sscanf(field, "%4s%4s%4s%4s%4s%4s%4s%4s:%4x", g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7],
              &port);
  char joined[64];
  str_snprintf(joined, sizeof joined, "%s:%s:%s:%s:%s:%s:%s:%s", g[0], g[1], g[2], g[3], g[4], g[5],
               g[6], g[7]);
  in6_addr address{};
  Endpoint endpoint;
  endpoint.port = static_cast<int>(port);
  if (::inet_pton(AF_INET6, joined, &address) == 1) endpoint.address = ipv6Text(address);
  return endpoint;
}

Endpoint readEndpoint(const char* field, int family) {
  if (family != AF_INET6) return readIpv4(field);
  if (std::strncmp(field, kMappedDigits, kMappedLength) != 0) return readIpv6(field);
  Endpoint mapped = readIpv4(field + kMappedLength);
  mapped.address.insert(0, "::ffff:");
  return mapped;
}

template <std::size_t Size>
void store(const Endpoint& endpoint, char (&address)[Size], int& port) {
  str_strlcpy(address, endpoint.address.c_str(), Size);
  port = endpoint.port;
}

}  // namespace

int parseInetAddrAndPort(const char* local, const char* remote, int family, INET_PREFIX_S* prefix) {
  prefix->family = family;
  store(readEndpoint(local, family), prefix->localAddress, prefix->localPort);
  store(readEndpoint(remote, family), prefix->remoteAddress, prefix->remotePort);
  if (family == AF_INET6) {
    LEDGORA_DEBUG("[CollectNetworkConnectInfo]ipv6 laddr: %s raddr: %s \n", prefix->localAddress,
                  prefix->remoteAddress);
  } else {
    LEDGORA_DEBUG("[CollectNetworkConnectInfo]ip laddr: %s raddr: %s \n", prefix->localAddress,
                  prefix->remoteAddress);
  }
  return 0;
}

}  // namespace LedgoraCollect
