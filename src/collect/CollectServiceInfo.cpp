#include "collect/CollectServiceInfo.h"

#include <string>

#include "common/StringUtils.h"
#include "common/support/JsonLayer.h"
#include "common/support/Log.h"
#include "hostmodel/ServiceCollection.h"
#include "run/ListDocument.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kBlanks = " \r\n\t";

SERVER_INFO_S recordOf(const ServiceCacheUnit& unit) {
  SERVER_INFO_S record;
  record.serverName = unit.getMServerName();
  record.serverStatus = unit.getMServerStatus();
  record.startUser = unit.getMStartUser();
  record.startType = unit.getMStartType();
  record.startTime = unit.getMStartTime();
  record.execFilePath = unit.getMExecFilePath();
  record.serverDesc = unit.getMServerDesc();
  return record;
}

// Milliseconds by their form; the last three digits are always 0.
std::string startTimeText(std::int64_t seconds) {
  return seconds == 0 ? "" : std::to_string(seconds) + "000";
}

void addServer(cJSON* object, const std::string& name, const SERVER_INFO_S& server) {
  const auto add = [object](const char* key, const std::string& value) {
    cJSON_AddItemToObject(object, key, cJSON_CreateString2(value.c_str(), object));
  };
  add("server_desc", server.serverDesc);
  add("exec_file_path", server.execFilePath);
  add("server_name", name);
  add("start_type", server.startType);
  add("start_user", server.startUser);
  add("server_status", server.serverStatus);
  add("start_time", startTimeText(server.startTime));
}

}  // namespace

bool CollectServiceInfo::collectImple(cJSON* root) {
  getServices();
  const int result = dataToJson(&mServices, root);
  if (result != 0) {
    error_output(0, __func__, __LINE__,
                 "[CollectServiceInfo]Failed to get json result, error code=%d", result);
  }
  return result == 0;
}

void CollectServiceInfo::getServices() {
  ServiceCollection collection;
  collection.setEnvironment(getMEnv());
  if (!collection.collect()) {
    error_output(0, __func__, __LINE__, "[CollectServiceInfo]Failed to collect services!");
  }
  for (const ServiceCacheUnit& unit : collection.getMVctServices()) {
    mServices.push_back(recordOf(unit));
  }
}

// No limit applies to services: the limits file's number for them isn't consulted.
int CollectBase::dataToJson(std::vector<SERVER_INFO_S>* list, cJSON* root) {
  ListDocument document(__func__);
  if (!document) return -1;
  for (const SERVER_INFO_S& server : *list) {
    const std::string name = StringUtils::trim(server.serverName, kBlanks);
    if (name.empty()) continue;
    cJSON* const object = document.append();
    if (object == nullptr) break;
    addServer(object, name, server);
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
