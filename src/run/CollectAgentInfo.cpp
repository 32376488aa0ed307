#include "run/CollectAgentInfo.h"

#include "common/support/Handles.h"
#include "common/support/InstallPath.h"
#include "run/CollectJsonUtil.h"

namespace LedgoraCollect {

namespace {

constexpr std::size_t kPathBytes = 256;

JsonHandle parseInstalled(const char* name) {
  char path[kPathBytes] = {};
  dirutils_path_transform(name, path, sizeof path);
  return JsonHandle(ParseJsonFile(path));
}

/// A member that is missing or no string counts as empty.
std::string text(const JsonHandle& file, const char* key) {
  const cJSON* member = cJSON_GetObjectItem(file.get(), key);
  return cJSON_IsString(member) ? member->valuestring : "";
}

}  // namespace

bool CollectAgentInfo::collectImple(cJSON* root) {
  AgentInfoDefinition info;
  getAgentVersionInfo(info);
  getFingerPrintVersionInfo(info);
  info.dataToJson(root);
  return true;
}

void CollectAgentInfo::getAgentVersionInfo(AgentInfoDefinition& info) {
  const JsonHandle file = parseInstalled("@/../agent_version.json");
  if (!file) return;
  info.setAgentVersion(text(file, "version"));
  info.setAgentPackage(text(file, "package_name"));
  info.setAgentMd5(text(file, "md5"));
  info.setAgentCommitId(text(file, "git_commit"));
}

void CollectAgentInfo::getFingerPrintVersionInfo(AgentInfoDefinition& info) {
  const JsonHandle file = parseInstalled("@/../config/rule/fingerprint_version.json");
  if (!file) return;
  info.setFingerprintVersion(text(file, "version"));
  info.setFingerprintPackage(text(file, "package_name"));
  info.setFingerprintCommitId(text(file, "git_commit"));
}

}  // namespace LedgoraCollect
