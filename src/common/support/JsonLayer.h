#pragma once

#include <cjson/cJSON.h>

namespace LedgoraCollect {

/// Plain constructors of stock cJSON with one more argument, which nothing
/// reads. Callers pass the object that the node will join, or null.
cJSON* cJSON_CreateString2(const char* value, const void* context);
cJSON* cJSON_CreateNumber2(const void* context, double value);
cJSON* cJSON_CreateBool2(int value, const void* context);

/// Prints a document without blanks, as valid UTF-8: keys and strings keep
/// their bytes but for each byte that isn't part of a valid sequence, which
/// becomes U+FFFD. The text comes from malloc and the caller frees it; null on
/// failure. Takes time linear in the size of the document.
char* printJsonDocument(const cJSON* document);

}  // namespace LedgoraCollect
