#include "run/CollectIPList.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include "common/support/JsonLayer.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

/// The dotted text of an IPv4 address; empty for any other family and for the
/// one address that every host has. Other addresses of the loopback network
/// stay in.
std::string reportedAddress(const sockaddr* address) {
  if (!address || address->sa_family != AF_INET) return "";
  char text[INET_ADDRSTRLEN] = {};
  const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(address);
  if (!inet_ntop(AF_INET, &ipv4->sin_addr, text, sizeof text)) return "";
  const std::string dotted = text;
  return dotted == "127.0.0.1" ? "" : dotted;
}

}  // namespace

bool CollectIPList::collectImple(cJSON* root) {
  ifaddrs* head = nullptr;
  if (getifaddrs(&head) == -1) {
    error_output(0, __func__, __LINE__, "getaddr failed.");
    return false;
  }
  _IP_LIST_ list;
  // An interface with several addresses gives several entries, and an address
  // seen twice stays twice.
  for (const ifaddrs* entry = head; entry; entry = entry->ifa_next) {
    const std::string address = reportedAddress(entry->ifa_addr);
    if (!address.empty()) list.addresses.push_back(address);
  }
  freeifaddrs(head);
  const int code = CollectBase::dataToJson(&list, root);
  if (code != 0) {
    error_output(0, __func__, __LINE__, "Failed to get json result, error code=%d", code);
    return false;
  }
  // The text says "port info" of an address list; tools look for it as it is.
  error_output(2, __func__, __LINE__, "success to get port info to json");
  return true;
}

int CollectBase::dataToJson(_IP_LIST_* list, cJSON* root) {
  // A host without an address has the document {}; no limit of the limits
  // file bounds this list.
  if (list->addresses.empty()) return 0;
  std::string joined;
  for (const std::string& address : list->addresses) {
    if (!joined.empty()) joined += ';';
    joined += address;
  }
  cJSON_AddItemToObject(root, "ip_list", cJSON_CreateString2(joined.c_str(), root));
  return 0;
}

}  // namespace LedgoraCollect
