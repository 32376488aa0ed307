#pragma once

#include <string>

#include "hostmodel/ServicesCollectionUnit.h"

namespace LedgoraCollect {

/// Services from init scripts: every executable entry of "/etc/init.d" and
/// "/etc/rc.d/init.d", by its file name.
class ServiceFileCollectionUnit : public ServicesCollectionUnit {
 public:
  /// Always true.
  bool collectServices(std::vector<ServiceCacheUnit>& services, std::set<std::string>& seen,
                       const Processes& processes) override;

 private:
  static bool scriptCB(const std::string& path, void* context);
  static void getServiceCacheInfo(const Processes& processes, ServiceCacheUnit& unit);
};

}  // namespace LedgoraCollect
