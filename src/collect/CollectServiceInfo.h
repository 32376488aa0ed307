#pragma once

#include <vector>

#include "hostmodel/ServerInfo.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// Type 19: the services that the machine defines, with their state.
class CollectServiceInfo : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;

 private:
  void getServices();

  std::vector<SERVER_INFO_S> mServices;
};

}  // namespace LedgoraCollect
