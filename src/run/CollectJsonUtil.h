#pragma once

#include <cjson/cJSON.h>

namespace LedgoraCollect {

/// Reads a JSON file, plain or enciphered, whatever its shape. Returns the
/// tree, which the caller deletes with cJSON_Delete, or null with a message.
/// Files over 64 MiB are refused.
cJSON* ParseJsonFile(const char* path);

}  // namespace LedgoraCollect
