#pragma once

#include <cjson/cJSON.h>

#include <map>
#include <string>
#include <vector>

namespace LedgoraCollect {

/// Appends the elements of a JSON array that are strings; others are skipped.
/// What is no array has no elements.
void JSONArray2Vct(cJSON* array, std::vector<std::string>& out);

/// Appends the elements that are numbers, as ints; others are skipped.
void JSONArray2VctInt(cJSON* array, std::vector<int>& out);

/// Inserts the pair of the two string members of each element that is an
/// object. A member that is missing or no string counts as empty; a pair of
/// two empty strings is dropped.
void JSONObjArray2Map(cJSON* array, const char* keyName, const char* valueName,
                      std::multimap<std::string, std::string>& out);

}  // namespace LedgoraCollect
