#pragma once

#include <string>
#include <vector>

namespace LedgoraTest {

/// One member of the document's top object as text; arrays and objects as
/// JSON. "(none)" if there is none.
std::string documentMember(const std::string& document, const char* key);

/// The records of the array under `list`, one a line, with the values of
/// `keys` between "|". "(none)" if the document has no such array.
std::string documentRows(const std::string& document, const std::vector<const char*>& keys,
                         const char* list = "list");

/// How many records the array has; -1 if there is none.
int documentCount(const std::string& document, const char* list = "list");

}  // namespace LedgoraTest
