#pragma once

#include "hostmodel/FileCollectionUnit.h"
#include "hostmodel/OsCollection.h"

namespace LedgoraCollect {

/// The host type as "/etc/.productinfo" tells it.
class ProductinfoFileCollectionUnit : public FileCollectionUnit {
 public:
  /// Sets unit.hostType: "server" when a line of the file names a server, in
  /// whatever case, else "pc". False when there is no such file, or it can't
  /// be read; the host type then stays as it was.
  bool collectHostType(OsCacheUnit& unit) const;
};

}  // namespace LedgoraCollect
