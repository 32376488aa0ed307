#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "collect/SystemInfoRecords.h"

namespace LedgoraCollect {

/// Addresses by the name of their interface, in the order they were found.
using InterfaceAddresses = std::multimap<std::string, IP_VALUE_S>;

/// Adds the addresses in the text of if_inet6 (eight groups, index, prefix
/// length, scope, flags, name; all numbers hexadecimal). The text ends for us
/// at the first record that isn't of this form.
void parseIfInet6(const std::string& text, InterfaceAddresses& addresses);

/// Adds the gateways of default routes in the text of the route table (a
/// header line, then one route a line), by interface; the first one stays.
void parseDefaultGateways(const std::string& text, std::map<std::string, std::string>& gateways);

/// Leading one bits of an IPv4 netmask in network order.
int prefixLength(std::uint32_t netmask);

}  // namespace LedgoraCollect
