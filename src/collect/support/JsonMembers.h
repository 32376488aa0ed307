#pragma once

#include <string>

#include "common/support/JsonLayer.h"

namespace LedgoraCollect {

/// Adds a string member; the document ends it at its first zero byte.
inline void addText(cJSON* object, const char* key, const std::string& value) {
  cJSON_AddItemToObject(object, key, cJSON_CreateString2(value.c_str(), object));
}

/// A number as "%lu" prints it.
inline std::string unsignedText(int number) {
  return std::to_string(static_cast<unsigned long>(number));
}

/// Adds a number member.
inline void addNumber(cJSON* object, const char* key, double value) {
  cJSON_AddItemToObject(object, key, cJSON_CreateNumber2(object, value));
}

/// Adds a boolean member.
inline void addBool(cJSON* object, const char* key, bool value) {
  cJSON_AddItemToObject(object, key, cJSON_CreateBool2(value ? 1 : 0, object));
}

}  // namespace LedgoraCollect
