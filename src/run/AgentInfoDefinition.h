#pragma once

#include <string>

#include "run/InfoDefinition.h"

namespace LedgoraCollect {

/// The versions of the engine and of the rules.
class AgentInfoDefinition : public InfoDefinition {
 public:
  /// Adds the seven members, present also when empty. -1 for a null root.
  int dataToJson(cJSON* root) override;

  void setAgentVersion(const std::string& value) { mAgentVersion = value; }
  void setAgentPackage(const std::string& value) { mAgentPackage = value; }
  void setAgentMd5(const std::string& value) { mAgentMd5 = value; }
  void setAgentCommitId(const std::string& value) { mAgentCommitId = value; }
  void setFingerprintVersion(const std::string& value) { mFingerprintVersion = value; }
  void setFingerprintPackage(const std::string& value) { mFingerprintPackage = value; }
  void setFingerprintCommitId(const std::string& value) { mFingerprintCommitId = value; }

 private:
  std::string mAgentVersion;
  std::string mAgentPackage;
  std::string mAgentMd5;
  std::string mAgentCommitId;
  std::string mFingerprintVersion;
  std::string mFingerprintPackage;
  std::string mFingerprintCommitId;
};

}  // namespace LedgoraCollect
