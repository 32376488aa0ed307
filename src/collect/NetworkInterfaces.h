#pragma once

#include <string>
#include <vector>

#include "collect/SystemInfoRecords.h"

namespace LedgoraCollect {

/// Appends the interfaces with an IPv4 address, each once, without loopback,
/// in the kernel's order. IPv6 addresses and gateways come from the proc files
/// of the root `env`, everything else from the running kernel. What can't be
/// had is logged and left out.
void getSystemNetworkInfo(const std::string& env, std::vector<NIC_INFO_S>& interfaces);

}  // namespace LedgoraCollect
