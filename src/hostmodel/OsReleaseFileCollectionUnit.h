#pragma once

#include <string>

#include "hostmodel/FileCollectionUnit.h"
#include "hostmodel/OsCollection.h"

namespace LedgoraCollect {

/// The host type as the os-release file tells it.
class OsReleaseFileCollectionUnit : public FileCollectionUnit {
 public:
  /// Sets unit.hostType from "/etc/os-release": "server" or "pc". In `uosMode`
  /// a line with "server" in whatever case names a server; otherwise a line
  /// must hold "name" and "server" exactly as written here. False when there is no such
  /// file, or it can't be read; the host type then stays as it was.
  bool collectHostType(OsCacheUnit& unit, bool uosMode) const;
  /// The same from any file of the inspected root.
  bool collectHostType(OsCacheUnit& unit, bool uosMode, const std::string& path) const;
};

}  // namespace LedgoraCollect
