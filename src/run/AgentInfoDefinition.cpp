#include "run/AgentInfoDefinition.h"

#include "common/support/JsonLayer.h"

namespace LedgoraCollect {

int AgentInfoDefinition::dataToJson(cJSON* root) {
  if (!root) return -1;
  const struct {
    const char* key;
    const std::string& value;
  } members[] = {
      {"engine_version", mAgentVersion},
      {"engine_package", mAgentPackage},
      {"engine_md5", mAgentMd5},
      {"engine_commit_id", mAgentCommitId},
      {"rule_version", mFingerprintVersion},
      {"rule_package", mFingerprintPackage},
      {"rule_commit_id", mFingerprintCommitId},
  };
  for (const auto& member : members) {
    cJSON_AddItemToObject(root, member.key, cJSON_CreateString2(member.value.c_str(), root));
  }
  return 0;
}

}  // namespace LedgoraCollect
