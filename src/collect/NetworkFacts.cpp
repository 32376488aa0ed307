#include "collect/NetworkFacts.h"

#include <arpa/inet.h>
#include <net/route.h>

#include <array>
#include <cstdio>

#include "common/support/BoundedString.h"
#include "common/support/Handles.h"
#include "common/support/Ipv6Text.h"

namespace LedgoraCollect {
namespace {

struct InetRecord {
  char groups[8][5];
  unsigned int index, prefix, scope, flags;
  char name[21];
};

// Reads fields by width, as consumers know the records: the index has two
// digits, so an index over 255 shifts the fields behind it.
bool readInetRecord(FILE* stream, InetRecord& r) {
  auto& g = r.groups;
  return std::fscanf(stream, "%4s%4s%4s%4s%4s%4s%4s%4s %02x %02x %02x %02x %20s\n", g[0], g[1],
                     g[2], g[3], g[4], g[5], g[6], g[7], &r.index, &r.prefix, &r.scope, &r.flags,
                     r.name) == 13;
}

std::string addressOf(const InetRecord& r) {
  const auto& g = r.groups;
  std::array<char, 64> joined{};
  str_snprintf(joined.data(), joined.size(), "%s:%s:%s:%s:%s:%s:%s:%s", g[0], g[1], g[2], g[3],
               g[4], g[5], g[6], g[7]);
  in6_addr address{};
  if (::inet_pton(AF_INET6, joined.data(), &address) != 1) return {};
  return ipv6Text(address);
}

FileHandle streamOf(const std::string& text) {
  // The stream only reads, but fmemopen takes no const pointer.
  return FileHandle(text.empty() ? nullptr
                                 : ::fmemopen(const_cast<char*>(text.data()), text.size(), "r"));
}

struct RouteRecord {
  char name[64];
  unsigned long destination, gateway;
  unsigned int flags;
  int references, use, metric;
  unsigned long mask;
  int mtu, window, irtt;
};

bool readRouteRecord(FILE* stream, RouteRecord& r) {
  return std::fscanf(stream, "%63s%lx%lx%X%d%d%d%lx%d%d%d\n", r.name, &r.destination, &r.gateway,
                     &r.flags, &r.references, &r.use, &r.metric, &r.mask, &r.mtu, &r.window,
                     &r.irtt) == 11;
}

// A gateway of more than 32 bits is no address: no kernel writes one, but the
// table of a mounted root may hold anything.
bool isDefaultRoute(const RouteRecord& r) {
  constexpr unsigned int kViaGateway = RTF_UP | RTF_GATEWAY;
  return (r.flags & kViaGateway) == kViaGateway && r.destination == 0 && r.mask == 0 &&
         r.gateway != 0 && r.gateway <= 0xffffffffUL;
}

// The number holds the address in network order: its lowest byte comes first.
std::string gatewayOf(const RouteRecord& r) {
  const auto byte = [&r](int shift) { return static_cast<int>(r.gateway >> shift & 0xffU); };
  std::array<char, 32> text{};
  str_snprintf(text.data(), text.size(), "%d.%d.%d.%d", byte(0), byte(8), byte(16), byte(24));
  return text.data();
}

}  // namespace

void parseIfInet6(const std::string& text, InterfaceAddresses& addresses) {
  const FileHandle stream = streamOf(text);
  InetRecord record{};
  while (stream && readInetRecord(stream.get(), record)) {
    std::string ip = addressOf(record);
    if (ip.empty()) continue;
    addresses.emplace(record.name, IP_VALUE_S{static_cast<int>(record.prefix), std::move(ip)});
  }
}

void parseDefaultGateways(const std::string& text, std::map<std::string, std::string>& gateways) {
  const FileHandle stream = streamOf(text);
  if (!stream) return;
  if (std::fscanf(stream.get(), "%*[^\n]\n") < 0) return;
  RouteRecord record{};
  while (readRouteRecord(stream.get(), record)) {
    if (isDefaultRoute(record)) gateways.emplace(record.name, gatewayOf(record));
  }
}

int prefixLength(std::uint32_t netmask) {
  int length = 0;
  for (std::uint32_t bits = ntohl(netmask); (bits & 0x80000000U) != 0; bits <<= 1) ++length;
  return length;
}

}  // namespace LedgoraCollect
