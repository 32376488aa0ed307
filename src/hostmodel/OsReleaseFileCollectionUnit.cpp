#include "hostmodel/OsReleaseFileCollectionUnit.h"

#include "hostmodel/HostTypeFile.h"

namespace LedgoraCollect {
namespace {

// Only the key in lower case counts, which hardly a file has. Consumers know
// such hosts as "pc", PRETTY_NAME with "Server" in it or not.
bool plainLineNamesServer(const std::string& line) {
  return line.find("name") != std::string::npos && line.find("server") != std::string::npos;
}

}  // namespace

bool OsReleaseFileCollectionUnit::collectHostType(OsCacheUnit& unit, bool uosMode) const {
  return collectHostType(unit, uosMode, "/etc/os-release");
}

bool OsReleaseFileCollectionUnit::collectHostType(OsCacheUnit& unit, bool uosMode,
                                                  const std::string& path) const {
  return hostTypeFromFile(*this, path, uosMode ? lineNamesServer : plainLineNamesServer,
                          unit.hostType);
}

}  // namespace LedgoraCollect
