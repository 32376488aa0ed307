#include "run/CollectorTable.h"

#include "collect/CollectEnvInfo.h"
#include "collect/CollectInstallPackage.h"
#include "collect/CollectJarPackage.h"
#include "collect/CollectKernelModuleInfo.h"
#include "collect/CollectNpmPkgInfo.h"
#include "collect/CollectProcessInfo.h"
#include "collect/CollectPythonPackage.h"
#include "collect/CollectScheduleInfo.h"
#include "collect/CollectServiceInfo.h"
#include "collect/CollectSystemInfo.h"
#include "collect/CollectSystemStatus.h"
#include "collect/CollectUserInfo.h"
#include "network/CollectNetConnectInfo.h"
#include "network/CollectPortInfo.h"
#include "run/CollectAgentInfo.h"
#include "run/CollectIPList.h"
#include "software/CollectSoftware.h"

namespace LedgoraCollect {

namespace {

template <class Collector>
std::shared_ptr<CollectBase> make() {
  return std::make_shared<Collector>();
}

// One line per collector, in the order of the types. Types 8 to 12 have none:
// a script makes them (execLua).
constexpr struct {
  COLLECT_TYPE_E type;
  std::shared_ptr<CollectBase> (*make)();
} kCollectors[] = {
    {E_COLLECT_SYSTEM_INFO, make<CollectSystemInfo>},
    {E_COLLECT_SYSTEM_STATUS, make<CollectSystemStatus>},
    {E_COLLECT_PROCESS, make<CollectProcessInfo>},
    {E_COLLECT_USER, make<CollectUserInfo>},
    {E_COLLECT_PORT, make<CollectPortInfo>},
    {E_COLLECT_SCHEDULE, make<CollectScheduleInfo>},
    {E_COLLECT_SOFTWARE, make<CollectSoftware>},
    {E_COLLECT_IP_LIST, make<CollectIPList>},
    {E_COLLECT_NET_CONNECT, make<CollectNetConnectInfo>},
    {E_COLLECT_SERVICE, make<CollectServiceInfo>},
    {E_COLLECT_ENV, make<CollectEnvInfo>},
    {E_COLLECT_KERNEL_MODULE, make<CollectKernelModuleInfo>},
    {E_COLLECT_JAR, make<CollectJarPackage>},
    {E_COLLECT_INSTALL_PACKAGE, make<CollectInstallPackage>},
    {E_COLLECT_NPM, make<CollectNpmPkgInfo>},
    {E_COLLECT_PYTHON, make<CollectPythonPackage>},
    {E_COLLECT_AGENT_INFO, make<CollectAgentInfo>},
};

}  // namespace

std::shared_ptr<CollectBase> makeCollector(COLLECT_TYPE_E type) {
  for (const auto& entry : kCollectors) {
    if (entry.type == type) return entry.make();
  }
  return nullptr;
}

}  // namespace LedgoraCollect
