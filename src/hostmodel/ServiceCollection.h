#pragma once

#include <set>
#include <string>
#include <vector>

#include "hostmodel/Collection.h"
#include "hostmodel/ServiceCacheUnit.h"

namespace LedgoraCollect {

/// The services that the inspected machine defines, without asking a service
/// manager: files tell which, the process table tells their state.
class ServiceCollection : public Collection {
 public:
  const std::vector<ServiceCacheUnit>& getMVctServices() const { return services; }

  /// Init scripts are looked at only when no unit file gave a service.
  bool collect() override;

 private:
  std::vector<ServiceCacheUnit> services;
  std::set<std::string> seen;
};

}  // namespace LedgoraCollect
