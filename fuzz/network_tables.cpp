// The proc file system's tables of IPv6 addresses and of routes.
#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "collect/NetworkFacts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  LedgoraCollect::InterfaceAddresses addresses;
  LedgoraCollect::parseIfInet6(text, addresses);
  for (const auto& [name, ip] : addresses) {
    in6_addr address{};
    if (name.size() > 20 || ::inet_pton(AF_INET6, ip.ip.c_str(), &address) != 1) __builtin_trap();
  }
  std::map<std::string, std::string> gateways;
  LedgoraCollect::parseDefaultGateways(text, gateways);
  for (const auto& [name, gateway] : gateways) {
    if (name.size() > 63 || gateway == "0.0.0.0" || gateway.size() > 15) __builtin_trap();
  }
  return 0;
}
