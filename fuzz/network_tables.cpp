// The proc file system's tables of IPv6 addresses and of routes.
#include <cstddef>
#include <cstdint>
#include <string>

#include "collect/NetworkFacts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  LedgoraCollect::InterfaceAddresses addresses;
  LedgoraCollect::parseIfInet6(text, addresses);
  for (const auto& [name, ip] : addresses) {
    if (name.empty() || name.size() > 20 || ip.subnet < 0 || ip.subnet > 255) __builtin_trap();
  }
  std::map<std::string, std::string> gateways;
  LedgoraCollect::parseDefaultGateways(text, gateways);
  for (const auto& [name, gateway] : gateways) {
    if (name.size() > 63 || gateway == "0.0.0.0" || gateway.size() > 15) __builtin_trap();
  }
  return 0;
}
