#pragma once

#include <string>

#include "common/support/JsonLayer.h"

namespace LedgoraCollect {

/// Adds a string member; the document ends it at its first zero byte.
inline void addText(cJSON* object, const char* key, const std::string& value) {
  cJSON_AddItemToObject(object, key, cJSON_CreateString2(value.c_str(), object));
}

/// Adds a number member.
inline void addNumber(cJSON* object, const char* key, double value) {
  cJSON_AddItemToObject(object, key, cJSON_CreateNumber2(object, value));
}

}  // namespace LedgoraCollect
