#pragma once

#include <string>
#include <vector>

#include "run/CollectBase.h"

namespace LedgoraCollect {

/// The IPv4 addresses of the host in dotted form, in the order in which the
/// kernel lists them.
struct _IP_LIST_ {
  std::vector<std::string> addresses;
};

/// Type 14: the IPv4 addresses of the running kernel's interfaces, joined with
/// ";". Takes no notice of `env=`, `option=` and `mode=`.
class CollectIPList : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;
};

}  // namespace LedgoraCollect
