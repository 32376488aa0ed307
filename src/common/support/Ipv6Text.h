#pragma once

#include <netinet/in.h>

#include <string>

namespace LedgoraCollect {

/// The compressed text of an IPv6 address. A dotted tail is written for the
/// mapped form ("::ffff:10.0.0.1") only: "::100:0", never "::1.0.0.0".
std::string ipv6Text(const in6_addr& address);

}  // namespace LedgoraCollect
