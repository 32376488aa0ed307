#pragma once

#include <map>
#include <string>
#include <vector>

#include "run/CollectBase.h"
#include "software/SoftwareListRecords.h"
#include "software/SoftwareRecords.h"

namespace LedgoraCollect {

/// Type 7: what runs, merged with what is installed; running software first,
/// then software that a rule knows, then the rest.
class CollectSoftware : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  /// With option bit 1 and a fresh cache nothing is collected or written.
  bool collectImple(cJSON* json) override;

  /// Fills the map from processes and packages.
  void getAllSoftware();
  /// Moves entries to `out`: mode 1 those with processes, 2 those with an id,
  /// 4 all.
  void softOutput(std::vector<SOFT_INFO_S>& out, int mode);

 private:
  SOFT_INFO_S toOutput(const SOFTWARE_EX_S& soft) const;

  std::map<std::string, SOFTWARE_EX_S> mSoftware;  // by merge key
  std::string mHostType;
};

}  // namespace LedgoraCollect
