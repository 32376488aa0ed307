#pragma once

#include "run/AgentInfoDefinition.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// Type 1001: which engine and which rule set are installed. Looks at two
/// files of the installation and nothing else; takes no notice of `env=`.
class CollectAgentInfo : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  /// Always true: a missing or broken file leaves its members empty.
  bool collectImple(cJSON* root) override;

  /// Takes the engine's values from "@/../agent_version.json".
  void getAgentVersionInfo(AgentInfoDefinition& info);
  /// Takes the rules' values from "@/../config/rule/fingerprint_version.json".
  void getFingerPrintVersionInfo(AgentInfoDefinition& info);
};

}  // namespace LedgoraCollect
