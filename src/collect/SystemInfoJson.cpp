#include <string>
#include <vector>

#include "collect/SystemInfoRecords.h"
#include "common/support/JsonLayer.h"
#include "common/support/Log.h"
#include "run/CollectBase.h"
#include "run/CollectLimit.h"

namespace LedgoraCollect {
namespace {

template <class Record>
struct Member {
  const char* key;
  std::string Record::*value;
};

constexpr Member<SYS_INFO_S> kMembersBeforeUpTime[] = {
    {"host_name", &SYS_INFO_S::hostName},
    {"os_name", &SYS_INFO_S::osName},
    {"os_version", &SYS_INFO_S::osVersion},
    {"kernel_version", &SYS_INFO_S::kernelVersion},
    {"os_version_codename", &SYS_INFO_S::osVersionCodename},
    {"os_update_version", &SYS_INFO_S::osUpdateVersion},
    {"os_edition_version", &SYS_INFO_S::osEditionVersion},
    {"os_language", &SYS_INFO_S::osLanguage},
    {"host_type", &SYS_INFO_S::hostType},
    {"os_architecture", &SYS_INFO_S::osArchitecture},
    {"uname", &SYS_INFO_S::uname},
};
constexpr Member<SYS_INFO_S> kMembersAfterUpTime[] = {
    {"vendor", &SYS_INFO_S::vendor},
    {"distribution", &SYS_INFO_S::distribution},
    {"serial", &SYS_INFO_S::serial},
    {"agentid", &SYS_INFO_S::agentId},
    {"os_manufacturer", &SYS_INFO_S::osManufacturer},
    {"uuid", &SYS_INFO_S::uuid},
};
constexpr Member<PATCH_INFO_S> kPatchMembers[] = {
    {"name", &PATCH_INFO_S::name},
    {"program_name", &PATCH_INFO_S::programName},
    {"publisher_name", &PATCH_INFO_S::publisherName},
    {"version", &PATCH_INFO_S::version},
    {"install_time", &PATCH_INFO_S::installTime},
};
constexpr Member<MotherBoardCacheUnit> kMotherboardMembers[] = {
    {"model", &MotherBoardCacheUnit::motherBoardProduct},
    {"manufacturer", &MotherBoardCacheUnit::motherBoardManufacturer},
    {"serial_number", &MotherBoardCacheUnit::motherBoardSerial},
    {"version", &MotherBoardCacheUnit::motherBoardVersion},
};
constexpr Member<SOUND_CARD_INFO_S> kSoundCardMembers[] = {{"model", &SOUND_CARD_INFO_S::model}};
constexpr Member<MEMORY_INFO_S> kMemoryMembers[] = {
    {"model", &MEMORY_INFO_S::model},
    {"manufacturer", &MEMORY_INFO_S::manufacturer},
    {"size", &MEMORY_INFO_S::size},
};
constexpr Member<VIDEO_CARD_INFO_S> kVideoCardMembers[] = {{"model", &VIDEO_CARD_INFO_S::model}};
constexpr Member<MONITOR_INFO_S> kMonitorMembers[] = {
    {"manufacturer", &MONITOR_INFO_S::manufacturer},
    {"id", &MONITOR_INFO_S::id},
    {"description", &MONITOR_INFO_S::description},
    {"model", &MONITOR_INFO_S::model},
};
constexpr Member<DISK_INFO_S> kDiskMembers[] = {
    {"name", &DISK_INFO_S::name},
    {"model", &DISK_INFO_S::model},
    {"serial", &DISK_INFO_S::serial},
    {"size", &DISK_INFO_S::size},
};

void addString(cJSON* object, const char* key, const std::string& value) {
  cJSON_AddItemToObject(object, key, cJSON_CreateString2(value.c_str(), object));
}

template <class Record, std::size_t N>
void addMembers(cJSON* object, const Record& record, const Member<Record> (&members)[N]) {
  for (const auto& member : members) addString(object, member.key, record.*member.value);
}

// Adds an object or array under `key`; null when it can't be made.
cJSON* addContainer(cJSON* parent, const char* key, cJSON* container) {
  if (container == nullptr) {
    error_output(1, __func__, __LINE__, "cjson create json object failed.");
    return nullptr;
  }
  cJSON_AddItemToObject(parent, key, container);
  return container;
}

template <class Record, std::size_t N>
bool addList(cJSON* root, const char* key, const std::vector<Record>& records,
             const Member<Record> (&members)[N]) {
  cJSON* list = addContainer(root, key, cJSON_CreateArray());
  if (list == nullptr) return false;
  for (const Record& record : records) {
    cJSON* object = cJSON_CreateObject();
    if (object == nullptr) return false;
    cJSON_AddItemToArray(list, object);
    addMembers(object, record, members);
  }
  return true;
}

bool addIps(cJSON* nic, const std::vector<IP_VALUE_S>& ips) {
  cJSON* addresses = addContainer(nic, "ips", cJSON_CreateObject());
  if (addresses == nullptr) return false;
  for (const IP_VALUE_S& ip : ips) {
    cJSON* address = addContainer(addresses, ip.ip.c_str(), cJSON_CreateObject());
    if (address == nullptr) return false;
    if (ip.subnet != 0) addString(address, "subnet", std::to_string(ip.subnet));
  }
  return true;
}

bool addDns(cJSON* nic, const std::vector<std::string>& servers) {
  cJSON* list = addContainer(nic, "dns", cJSON_CreateArray());
  if (list == nullptr) return false;
  for (const std::string& server : servers) {
    cJSON* item = cJSON_CreateString(server.c_str());
    if (item == nullptr) {
      error_output(1, __func__, __LINE__, "json create string(%s) failed.", server.c_str());
      continue;
    }
    cJSON_AddItemToArray(list, item);
  }
  return true;
}

bool addNic(cJSON* interfaces, const NIC_INFO_S& nic) {
  cJSON* member = addContainer(interfaces, nic.mac.c_str(), cJSON_CreateObject());
  if (member == nullptr) return false;
  addString(member, "name", nic.name);
  addString(member, "gateway", nic.gateway);
  return addIps(member, nic.ips) && addDns(member, nic.dns);
}

// An object by MAC address: interfaces that share one (a bridge and its port,
// say) become members of the same name, of which a reader sees one. Consumers
// look interfaces up by that key.
bool addInterfaces(cJSON* root, const std::vector<NIC_INFO_S>& nics) {
  cJSON* interfaces = addContainer(root, "interfaces", cJSON_CreateObject());
  if (interfaces == nullptr) return false;
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_INFO_INTERFACES);
  int count = 0;
  for (const NIC_INFO_S& nic : nics) {
    if (++count > limit) break;
    if (!addNic(interfaces, nic)) return false;
  }
  return true;
}

bool addMotherboard(cJSON* root, const MotherBoardCacheUnit& board) {
  cJSON* motherboard = addContainer(root, "motherboard", cJSON_CreateObject());
  if (motherboard == nullptr) return false;
  addMembers(motherboard, board, kMotherboardMembers);
  return true;
}

std::string installTimeText(std::int64_t seconds) {
  return seconds == 0 ? "" : std::to_string(seconds);
}

}  // namespace

int CollectBase::dataToJson(SYS_INFO_S* info, cJSON* root) {
  addMembers(root, *info, kMembersBeforeUpTime);
  addString(root, "up_time", std::to_string(info->upTime));
  addMembers(root, *info, kMembersAfterUpTime);
  addString(root, "install_time", installTimeText(info->installTime));
  const bool complete = addInterfaces(root, info->interfaces) &&
                        addList(root, "patches", info->patches, kPatchMembers) &&
                        addMotherboard(root, info->motherboard) &&
                        addList(root, "sound_card", info->soundCards, kSoundCardMembers) &&
                        addList(root, "memory_info", info->memoryInfos, kMemoryMembers) &&
                        addList(root, "video_card", info->videoCards, kVideoCardMembers) &&
                        addList(root, "monitor", info->monitors, kMonitorMembers) &&
                        addList(root, "disk_detail_info", info->disks, kDiskMembers);
  return complete ? 0 : -1;
}

}  // namespace LedgoraCollect
