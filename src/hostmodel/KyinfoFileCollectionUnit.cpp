#include "hostmodel/KyinfoFileCollectionUnit.h"

#include "hostmodel/HostTypeFile.h"

namespace LedgoraCollect {

bool KyinfoFileCollectionUnit::collectHostType(OsCacheUnit& unit) const {
  return hostTypeFromFile(*this, "/etc/.kyinfo", lineNamesServer, unit.hostType);
}

}  // namespace LedgoraCollect
