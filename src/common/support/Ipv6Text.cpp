#include "common/support/Ipv6Text.h"

#include <arpa/inet.h>

#include <array>
#include <cstdio>

namespace LedgoraCollect {
namespace {

// Zeros up to the last two groups: the system's operation writes these as
// "::a.b.c.d" unless the sixth group is ffff or the seventh is zero too.
bool isDottedWithoutMapping(const std::string& text) {
  return text.find('.') != std::string::npos && text.rfind("::ffff:", 0) != 0;
}

}  // namespace

std::string ipv6Text(const in6_addr& address) {
  std::array<char, INET6_ADDRSTRLEN> buffer{};
  if (::inet_ntop(AF_INET6, &address, buffer.data(), buffer.size()) == nullptr) return {};
  std::string text = buffer.data();
  if (!isDottedWithoutMapping(text)) return text;
  const auto group = [&address](int index) {
    return static_cast<unsigned int>(address.s6_addr[index] << 8 | address.s6_addr[index + 1]);
  };
  std::snprintf(buffer.data(), buffer.size(), "::%x:%x", group(12), group(14));
  return buffer.data();
}

}  // namespace LedgoraCollect
