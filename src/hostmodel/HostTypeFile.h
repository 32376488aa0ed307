#pragma once

#include <string>

#include "hostmodel/FileCollectionUnit.h"

namespace LedgoraCollect {

/// Tests one line of a release file.
using ServerLineTest = bool (*)(const std::string& line);

/// Whether the line holds "server" in whatever case.
bool lineNamesServer(const std::string& line);

/// Sets `hostType` to "server" when a line of the file passes the test, else
/// to "pc". False when the file isn't there or can't be read as text; the host
/// type then stays as it was. `path` is as the root of `unit` names it.
bool hostTypeFromFile(const FileCollectionUnit& unit, const std::string& path, ServerLineTest test,
                      std::string& hostType);

}  // namespace LedgoraCollect
