#include "run/JsonArrays.h"

namespace LedgoraCollect {

namespace {

std::string stringMember(cJSON* object, const char* name) {
  cJSON* member = cJSON_GetObjectItem(object, name);
  return cJSON_IsString(member) && member->valuestring ? member->valuestring : "";
}

}  // namespace

void JSONArray2Vct(cJSON* array, std::vector<std::string>& out) {
  if (!cJSON_IsArray(array)) return;
  for (cJSON* element = array->child; element; element = element->next) {
    if (cJSON_IsString(element)) out.emplace_back(element->valuestring);
  }
}

void JSONArray2VctInt(cJSON* array, std::vector<int>& out) {
  if (!cJSON_IsArray(array)) return;
  for (cJSON* element = array->child; element; element = element->next) {
    if (cJSON_IsNumber(element)) out.push_back(element->valueint);
  }
}

void JSONObjArray2Map(cJSON* array, const char* keyName, const char* valueName,
                      std::multimap<std::string, std::string>& out) {
  if (!cJSON_IsArray(array)) return;
  for (cJSON* element = array->child; element; element = element->next) {
    if (!cJSON_IsObject(element)) continue;
    std::string key = stringMember(element, keyName);
    std::string value = stringMember(element, valueName);
    if (key.empty() && value.empty()) continue;
    out.emplace(std::move(key), std::move(value));
  }
}

}  // namespace LedgoraCollect
