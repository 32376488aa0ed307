#include "hostmodel/ServiceCollection.h"

#include <memory>

#include "hostmodel/LinuxProcessCollection.h"
#include "hostmodel/ServicesCollectionUnit.h"

namespace LedgoraCollect {

bool ServiceCollection::collect() {
  LinuxProcessCollection processes;
  processes.setEnvironment(environment);
  processes.setEnvironmentsWanted(false);
  processes.collect();  // without a table the services are all stopped
  for (const int type : {SERVICE_TYPE_SYSTEMCTL, SERVICE_TYPE_SERVICE}) {
    const std::unique_ptr<ServicesCollectionUnit> source(ServicesCollectionUnit::getInstance(type));
    source->setEnvironment(environment);
    if (source->collectServices(services, seen, processes.getMProcessInfo())) return true;
  }
  return false;
}

}  // namespace LedgoraCollect
