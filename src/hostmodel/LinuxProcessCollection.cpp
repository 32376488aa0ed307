#include "hostmodel/LinuxProcessCollection.h"

#include "hostmodel/PsCmdCollectionUnit.h"

namespace LedgoraCollect {

bool LinuxProcessCollection::collect() {
  PsCmdCollectionUnit unit;
  unit.setEnvironment(environment);
  unit.setEnvironmentsWanted(mEnvironmentsWanted);
  return unit.collectProcesses(processInfo);
}

}  // namespace LedgoraCollect
