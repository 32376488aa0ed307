#include "hostmodel/ProductinfoFileCollectionUnit.h"

#include "hostmodel/HostTypeFile.h"

namespace LedgoraCollect {

bool ProductinfoFileCollectionUnit::collectHostType(OsCacheUnit& unit) const {
  return hostTypeFromFile(*this, "/etc/.productinfo", lineNamesServer, unit.hostType);
}

}  // namespace LedgoraCollect
