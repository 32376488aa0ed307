// The software list as JSON.
#include <cstdlib>
#include <limits>

#include "collect/support/JsonMembers.h"
#include "common/StringUtils.h"
#include "common/support/Handles.h"
#include "common/support/JsonLayer.h"
#include "common/support/Log.h"
#include "run/CollectBase.h"
#include "run/CollectFilter.h"
#include "run/CollectLimit.h"
#include "run/ListDocument.h"
#include "software/SoftwareListRecords.h"

namespace LedgoraCollect {
namespace {

constexpr int kKeepWebAndDatabases = 4;  // bit of the run's option

using TextMember = std::string SOFT_INFO_S::*;
struct TextKey {
  const char* key;
  TextMember field;
};

// Before "develop_kit" and "environment" stand "id", "name" and "version".
constexpr TextKey kMiddleKeys[] = {
    {"user", &SOFT_INFO_S::user},
    {"binary_path", &SOFT_INFO_S::binaryPath},
    {"conf_path", &SOFT_INFO_S::confPath},
    {"admin_permission", &SOFT_INFO_S::adminPermission},
    {"command", &SOFT_INFO_S::command},
    {"host_type", &SOFT_INFO_S::hostType},
    {"install_time", &SOFT_INFO_S::installTime},
    {"classify_id", &SOFT_INFO_S::classifyId},
    {"belong", &SOFT_INFO_S::belong},
    {"install_path", &SOFT_INFO_S::installPath},
    {"os_type", &SOFT_INFO_S::osType},
    {"size", &SOFT_INFO_S::size},
    {"install_type", &SOFT_INFO_S::installType},
};

constexpr TextKey kLastKeys[] = {
    {"uninstallstring", &SOFT_INFO_S::uninstallString},
    {"quite_uninstallstring", &SOFT_INFO_S::quietUninstallString},
    {"publisher", &SOFT_INFO_S::publisher},
    {"display_name", &SOFT_INFO_S::displayName},
    {"display_version", &SOFT_INFO_S::displayVersion},
    {"install_onlyid", &SOFT_INFO_S::installOnlyId},
};

/// Adds an object with a number and a text.
void addTyped(cJSON* object, const char* key, int type, const char* textKey,
              const std::string& text) {
  cJSON* member = cJSON_CreateObject();
  if (member == nullptr) return;
  addNumber(member, "type", type);
  addText(member, textKey, text);
  cJSON_AddItemToObject(object, key, member);
}

void addPids(cJSON* object, const std::vector<int>& pids) {
  if (pids.empty()) return;
  cJSON_AddItemToObject(object, "pid",
                        cJSON_CreateIntArray(pids.data(), static_cast<int>(pids.size())));
}

std::size_t relatedLimit() {
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_SOFTWARE_RELATED);
  return limit < 0 ? 0 : static_cast<std::size_t>(limit);
}

void addRelatedProcesses(cJSON* object, const std::vector<RELATED_PROCESS_S>& processes) {
  JsonHandle array(cJSON_CreateArray());
  for (std::size_t i = 0; array && i < processes.size() && i < relatedLimit(); ++i) {
    const RELATED_PROCESS_S& process = processes[i];
    cJSON* element = cJSON_CreateObject();
    if (element == nullptr) {
      array.reset();
      break;
    }
    addText(element, "pid", std::to_string(static_cast<unsigned long>(process.pid)));
    addText(element, "name", process.name);
    addText(element, "up_time", std::to_string(process.upTime) + "000");
    addText(element, "version", process.version);
    addText(element, "path", process.path);
    cJSON_AddItemToArray(array.get(), element);
  }
  if (!array) {
    error_output(1, __func__, __LINE__, "cjson create json  failed.");
    return;
  }
  cJSON_AddItemToObject(object, "related_pid", array.release());
}

void addRelatedKeys(cJSON* object, const std::vector<std::string>& keys) {
  JsonHandle member(cJSON_CreateObject());
  JsonHandle array(cJSON_CreateArray());
  if (!member || !array) {
    error_output(1, __func__, __LINE__, "cjson create json  failed.");
    return;
  }
  for (std::size_t i = 0; i < keys.size() && i < relatedLimit(); ++i) {
    cJSON* key = cJSON_CreateString(keys[i].c_str());
    if (key == nullptr) {
      error_output(1, __func__, __LINE__, "json create string(%s) failed.", keys[i].c_str());
      continue;
    }
    cJSON_AddItemToArray(array.get(), key);
  }
  cJSON_AddItemToObject(member.get(), "proc_keys", array.release());
  cJSON_AddItemToObject(object, "related_keys", member.release());
}

void addCompany(cJSON* object, const COMPANY_S& company) {
  cJSON* member = cJSON_CreateObject();
  if (member == nullptr) return;
  addText(member, "zh-cn", company.zhCn);
  addText(member, "en-us", company.enUs);
  cJSON_AddItemToObject(object, "company", member);
}

void addSoftware(cJSON* object, const SOFT_INFO_S& soft) {
  addText(object, "name", soft.name);
  addText(object, "version", soft.version);
  addTyped(object, "develop_kit", soft.developKitType, "version", soft.developKitVersion);
  addTyped(object, "environment", soft.environmentType, "id", soft.environmentId);
  for (const TextKey& member : kMiddleKeys) addText(object, member.key, soft.*member.field);
  // Always empty, whatever the package's description is; consumers rely on it.
  addText(object, "description", "");
  if (!soft.isDesktopSoftware.empty()) {
    addNumber(object, "is_desktop_software",
              static_cast<double>(std::strtol(soft.isDesktopSoftware.c_str(), nullptr, 10)));
  }
  for (const TextKey& member : kLastKeys) addText(object, member.key, soft.*member.field);
  addPids(object, soft.pids);
  addRelatedProcesses(object, soft.relatedProcesses);
  addRelatedKeys(object, soft.relatedKeys);
  addCompany(object, soft.company);
  cJSON_AddItemToObject(object, "tag", cJSON_Parse(soft.tag.c_str()));
}

bool leavesOut(const CollectBase& run, const SOFT_INFO_S& soft) {
  const bool webOrDatabase = soft.appType == "db" || soft.appType == "web";
  std::string name = StringUtils::trim(soft.name, " \r\n\t");
  return ((run.getOption() & kKeepWebAndDatabases) == 0 && webOrDatabase) ||
         !run.keepsRecord(!soft.environmentId.empty()) ||
         CollectFilter::getInstance()->filterSoft(name);
}

}  // namespace

int CollectBase::dataToJson(std::vector<SOFT_INFO_S>* list, cJSON* root) {
  ListDocument document(__func__);
  if (!document) return -1;
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_SOFTWARE);
  int count = 0;
  for (SOFT_INFO_S& soft : *list) {
    if (leavesOut(*this, soft)) {
      error_output(1, __func__, __LINE__, "software :%s will not output, app type:%s",
                   soft.name.c_str(), soft.appType.c_str());
      continue;
    }
    if (++count > limit) break;
    soft.name = StringUtils::trim(soft.name, " \r\n\t");
    // Such an element is dropped, but has used up a place in the count.
    if (soft.name.empty()) continue;
    cJSON* const object = document.append();
    if (object == nullptr) break;
    addText(object, "id", soft.id);
    addSoftware(object, soft);
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
