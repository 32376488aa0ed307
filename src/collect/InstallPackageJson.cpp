#include "collect/CollectInstallPackage.h"
#include "common/support/JsonLayer.h"
#include "run/JsonArrays.h"
#include "run/ListDocument.h"

namespace LedgoraCollect {
namespace {

constexpr struct {
  const char* key;
  std::string INSTALL_PACKAGE_INFO_S::*field;
} kMembers[] = {
    {"sys_pkg_name", &INSTALL_PACKAGE_INFO_S::name},
    {"install_time", &INSTALL_PACKAGE_INFO_S::installTime},
    {"type", &INSTALL_PACKAGE_INFO_S::type},
    {"version", &INSTALL_PACKAGE_INFO_S::version},
    {"desc", &INSTALL_PACKAGE_INFO_S::description},
    {"size", &INSTALL_PACKAGE_INFO_S::size},
    {"conf_path", &INSTALL_PACKAGE_INFO_S::confPath},
    {"host_type", &INSTALL_PACKAGE_INFO_S::hostType},
    {"classify_id", &INSTALL_PACKAGE_INFO_S::classifyId},
    {"belong", &INSTALL_PACKAGE_INFO_S::belong},
};

constexpr struct {
  const char* osName;
  std::vector<std::string> _BLACK_SOFTWARE_::*list;
} kFilterLists[] = {
    {"uos_desktop", &_BLACK_SOFTWARE_::uosDesktop},
    {"uos_server", &_BLACK_SOFTWARE_::uosServer},
    {"kylin_desktop", &_BLACK_SOFTWARE_::kylinDesktop},
    {"kylin_server", &_BLACK_SOFTWARE_::kylinServer},
};

}  // namespace

void CollectInstallPackage::analysisJsonFilter(cJSON* filter, _BLACK_SOFTWARE_& lists) {
  if (!cJSON_IsArray(filter)) return;
  const cJSON* element = nullptr;
  cJSON_ArrayForEach(element, filter) {
    if (!cJSON_IsObject(element)) continue;
    const cJSON* osName = cJSON_GetObjectItem(element, "os_name");
    if (!cJSON_IsString(osName)) continue;
    lists.osName = osName->valuestring;
    for (const auto& each : kFilterLists) {
      if (lists.osName != each.osName) continue;
      JSONArray2Vct(cJSON_GetObjectItem(element, "black_software"), lists.*each.list);
    }
  }
}

void CollectInstallPackage::analysisJsonFile(cJSON* file, std::vector<_BLACK_SOFTWARE_>& entries) {
  if (!cJSON_IsArray(file)) return;
  const cJSON* element = nullptr;
  cJSON_ArrayForEach(element, file) {
    if (!cJSON_IsObject(element)) continue;
    _BLACK_SOFTWARE_ entry;
    JSONArray2Vct(cJSON_GetObjectItem(element, "belong"), entry.belong);
    analysisJsonFilter(cJSON_GetObjectItem(element, "filter"), entry);
    entries.push_back(std::move(entry));
  }
}

int CollectBase::dataToJson(std::vector<INSTALL_PACKAGE_INFO_S>* list, cJSON* root) {
  ListDocument document(__func__);
  if (!document) return -1;
  for (const INSTALL_PACKAGE_INFO_S& package : *list) {
    cJSON* const object = document.append();
    if (object == nullptr) break;
    for (const auto& member : kMembers) {
      cJSON_AddItemToObject(object, member.key,
                            cJSON_CreateString2((package.*member.field).c_str(), object));
    }
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
