#include "support/DocumentView.h"

#include "common/support/Handles.h"

using LedgoraCollect::JsonHandle;
using LedgoraCollect::MallocText;

namespace LedgoraTest {

namespace {

std::string shown(const cJSON* value) {
  if (!value) return "(none)";
  if (cJSON_IsString(value)) return value->valuestring;
  const MallocText text(cJSON_PrintUnformatted(value));
  return text.get();
}

}  // namespace

std::string documentMember(const std::string& document, const char* key) {
  const JsonHandle root(cJSON_Parse(document.c_str()));
  return shown(cJSON_GetObjectItemCaseSensitive(root.get(), key));
}

std::string documentRows(const std::string& document, const std::vector<const char*>& keys,
                         const char* list) {
  const JsonHandle root(cJSON_Parse(document.c_str()));
  const cJSON* const array = cJSON_GetObjectItemCaseSensitive(root.get(), list);
  if (!cJSON_IsArray(array)) return "(none)";
  std::string rows;
  for (const cJSON* record = array->child; record; record = record->next) {
    for (std::size_t i = 0; i < keys.size(); ++i) {
      rows += (i == 0 ? "" : "|") + shown(cJSON_GetObjectItemCaseSensitive(record, keys[i]));
    }
    rows += '\n';
  }
  return rows;
}

int documentCount(const std::string& document, const char* list) {
  const JsonHandle root(cJSON_Parse(document.c_str()));
  const cJSON* const array = cJSON_GetObjectItemCaseSensitive(root.get(), list);
  return cJSON_IsArray(array) ? cJSON_GetArraySize(array) : -1;
}

}  // namespace LedgoraTest
