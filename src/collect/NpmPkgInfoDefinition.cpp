#include "collect/NpmPkgInfoDefinition.h"

#include "collect/support/JsonMembers.h"
#include "common/StringUtils.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "run/CollectJsonUtil.h"

namespace LedgoraCollect {

namespace {

constexpr struct {
  const char* key;
  std::string NPM_PKG_INFO_S::*field;
} kMembers[] = {
    {"package_name", &NPM_PKG_INFO_S::name},
    {"package_path", &NPM_PKG_INFO_S::path},
    {"package_version", &NPM_PKG_INFO_S::version},
    {"pid", &NPM_PKG_INFO_S::pid},
    {"package_scope", &NPM_PKG_INFO_S::scope},
    {"package_operation_command", &NPM_PKG_INFO_S::operationCommand},
};

std::string stringMember(const cJSON* document, const char* key) {
  const cJSON* const member = cJSON_GetObjectItem(document, key);
  return cJSON_IsString(member) ? member->valuestring : "";
}

}  // namespace

bool NpmPkgInfoDefinition::readPkgJson(const std::string& path, PKG_JSON& package) {
  const JsonHandle document(ParseJsonFile(path.c_str()));
  if (!document) return false;
  const bool hasScripts = parsePkgJson(document.get(), package);
  if (package.name.empty() || package.version.empty()) {
    error_output(1, __func__, __LINE__, "get npm pkg version or name failed path is %s",
                 path.c_str());
    return false;
  }
  if (!hasScripts) {
    error_output(1, __func__, __LINE__, "get object script item failed path is %s", path.c_str());
  }
  return true;
}

bool NpmPkgInfoDefinition::parsePkgJson(const cJSON* document, PKG_JSON& package) {
  package.name = stringMember(document, "name");
  package.version = stringMember(document, "version");
  const cJSON* const scripts = cJSON_GetObjectItem(document, "scripts");
  if (!cJSON_IsObject(scripts)) return false;
  const cJSON* script = nullptr;
  cJSON_ArrayForEach(script, scripts) {
    if (cJSON_IsString(script) && script->string != nullptr) {
      package.scripts.emplace(script->string, script->valuestring);
    }
  }
  return true;
}

void NpmPkgInfoDefinition::addPkgInfo(const std::string& name, const std::string& version,
                                      const std::string& path, const std::string& scope,
                                      const std::string& pid, const std::string& command) {
  mPackages.push_back({name, version, path, scope, pid, command});
}

int NpmPkgInfoDefinition::dataToJson(cJSON* root) {
  if (root == nullptr) return -1;
  JsonHandle array(cJSON_CreateArray());
  if (!array) {
    error_output(1, __func__, __LINE__, "cjson create json array failed.");
    return -1;
  }
  for (NPM_PKG_INFO_S& package : mPackages) {
    package.name = StringUtils::trim(package.name, " \r\n\t");
    if (package.name.empty()) continue;
    cJSON* const object = cJSON_CreateObject();
    if (object == nullptr) {
      error_output(1, __func__, __LINE__, "create json object failed");
      break;
    }
    for (const auto& member : kMembers) addText(object, member.key, package.*member.field);
    cJSON_AddItemToArray(array.get(), object);
  }
  cJSON_AddItemToObject(root, "list", array.release());
  return 0;
}

}  // namespace LedgoraCollect
