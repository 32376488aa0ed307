#include "run/ListDocument.h"

#include "common/support/Log.h"

namespace LedgoraCollect {

ListDocument::ListDocument(const char* function)
    : mFunction(function), mArray(cJSON_CreateArray()) {
  if (!mArray) error_output(1, mFunction, __LINE__, "cjson create json array failed.");
}

cJSON* ListDocument::append() {
  cJSON* const object = cJSON_CreateObject();
  if (object == nullptr) {
    error_output(1, mFunction, __LINE__, "cjson create json object failed.");
    return nullptr;
  }
  cJSON_AddItemToArray(mArray.get(), object);
  return object;
}

int ListDocument::addTo(cJSON* root) {
  cJSON_AddItemToObject(root, "list", mArray.release());
  return 0;
}

}  // namespace LedgoraCollect
