#include "collect/NetworkInterfaces.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <memory>
#include <set>

#include "collect/NetworkFacts.h"
#include "common/support/BoundedString.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "hostmodel/FileCollectionUnit.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {
namespace {

// Room for 25 entries of 40 bytes, one for each IPv4 address: interfaces
// behind them are missing from the document, and consumers know it so.
constexpr std::size_t kConfigBytes = 1024;
constexpr std::size_t kTextBytes = 16 * 1024 * 1024;

using Gateways = std::map<std::string, std::string>;
using InterfaceList = std::unique_ptr<ifaddrs, Releaser<freeifaddrs>>;

bool appendLineCB(const std::string& line, void* context) {
  auto& text = *static_cast<std::string*>(context);
  text.append(line).push_back('\n');
  return text.size() > kTextBytes;
}

bool readText(const std::string& env, const char* path, std::string& text) {
  FileCollectionUnit unit;
  unit.setEnvironment(env);
  if (unit.readFileLines(path, appendLineCB, &text)) return true;
  error_output(1, __func__, __LINE__, "[CollectSystemInfo]open file: %s failed.",
               CollectBase::addEnvPath(env, path).c_str());
  return false;
}

bool getIpv6Info(const std::string& env, InterfaceAddresses& addresses) {
  std::string text;
  if (!readText(env, "/proc/net/if_inet6", text)) return false;
  parseIfInet6(text, addresses);
  return true;
}

bool getDefaultGateway(const std::string& env, Gateways& gateways) {
  std::string text;
  if (!readText(env, "/proc/net/route", text)) return false;
  parseDefaultGateways(text, gateways);
  return true;
}

std::string ipv4Text(const sockaddr* address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  const auto* inet = reinterpret_cast<const sockaddr_in*>(address);
  return ::inet_ntop(AF_INET, &inet->sin_addr, text.data(), text.size()) ? text.data() : "";
}

bool getIpv4Info(InterfaceAddresses& addresses) {
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) != 0) return false;
  const InterfaceList list(first);
  for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
    if (entry->ifa_netmask == nullptr) continue;
    const auto* mask = reinterpret_cast<const sockaddr_in*>(entry->ifa_netmask);
    addresses.emplace(entry->ifa_name,
                      IP_VALUE_S{prefixLength(mask->sin_addr.s_addr), ipv4Text(entry->ifa_addr)});
  }
  return true;
}

// The names that the kernel lists, one for each address, made unique.
bool interfaceNames(int socket, std::vector<std::string>& names) {
  alignas(ifreq) std::array<char, kConfigBytes> buffer{};
  ifconf config{};
  config.ifc_len = static_cast<int>(buffer.size());
  config.ifc_buf = buffer.data();
  if (::ioctl(socket, SIOCGIFCONF, &config) != 0) return false;
  const auto* requests = reinterpret_cast<const ifreq*>(buffer.data());
  const std::size_t count = static_cast<std::size_t>(config.ifc_len) / sizeof(ifreq);
  std::set<std::string> seen;
  for (std::size_t i = 0; i < count; ++i) {
    std::string name(requests[i].ifr_name, ::strnlen(requests[i].ifr_name, IFNAMSIZ));
    if (seen.insert(name).second) names.push_back(std::move(name));
  }
  return true;
}

ifreq requestFor(const std::string& name) {
  ifreq request{};
  str_strlcpy(request.ifr_name, name.c_str(), sizeof request.ifr_name);
  return request;
}

bool isInventoried(int socket, const std::string& name) {
  ifreq request = requestFor(name);
  return ::ioctl(socket, SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_LOOPBACK) == 0;
}

std::string macOf(int socket, const std::string& name) {
  ifreq request = requestFor(name);
  if (::ioctl(socket, SIOCGIFHWADDR, &request) != 0) return {};
  const auto byte = [&request](int index) {
    return static_cast<unsigned int>(static_cast<unsigned char>(request.ifr_hwaddr.sa_data[index]));
  };
  std::array<char, 32> text{};
  str_snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", byte(0), byte(1), byte(2),
               byte(3), byte(4), byte(5));
  return text.data();
}

// Only the first address of each family: every further one is dropped, and
// consumers rely on the two at most.
void addFirstAddress(const InterfaceAddresses& addresses, NIC_INFO_S& nic) {
  const auto first = addresses.lower_bound(nic.name);
  if (first != addresses.end() && first->first == nic.name) nic.ips.push_back(first->second);
}

}  // namespace

void getSystemNetworkInfo(const std::string& env, std::vector<NIC_INFO_S>& interfaces) {
  InterfaceAddresses ipv6;
  if (!getIpv6Info(env, ipv6)) {
    error_output(1, __func__, __LINE__, "[CollectSystemInfo]get ipv6 info failed.");
  }
  InterfaceAddresses ipv4;
  if (!getIpv4Info(ipv4)) {
    error_output(1, __func__, __LINE__, "[CollectSystemInfo]get ipv4 info failed.");
  }
  Gateways gateways;
  if (!getDefaultGateway(env, gateways)) {
    error_output(1, __func__, __LINE__, "[CollectSystemInfo]get gateway info failed.");
  }
  const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  std::vector<std::string> names;
  if (!socket || !interfaceNames(socket.get(), names)) {
    error_output(1, __func__, __LINE__, "[CollectSystemInfo]get interface config error.");
    return;
  }
  for (const std::string& name : names) {
    if (!isInventoried(socket.get(), name)) continue;
    NIC_INFO_S nic;
    nic.name = name;
    nic.mac = macOf(socket.get(), name);
    const auto gateway = gateways.find(name);
    if (gateway != gateways.end()) nic.gateway = gateway->second;
    addFirstAddress(ipv6, nic);
    addFirstAddress(ipv4, nic);
    interfaces.push_back(std::move(nic));
  }
}

}  // namespace LedgoraCollect
