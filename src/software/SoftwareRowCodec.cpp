#include "software/SoftwareRowCodec.h"

#include <map>

#include "collect/ProcessRecords.h"
#include "collect/support/JsonMembers.h"
#include "common/support/Handles.h"
#include "common/support/JsonLayer.h"
#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kEmptyArray = "[]";

JsonHandle newObject(int level) {
  JsonHandle object(cJSON_CreateObject());
  if (!object) error_output(level, __func__, __LINE__, "[COLLECT SOFT]json create object failed.");
  return object;
}

void addTexts(cJSON* object, const std::map<std::string, std::string>& values) {
  for (const auto& [name, value] : values) addText(object, name.c_str(), value);
}

std::string print(const cJSON* value) {
  const MallocText text(cJSON_Print(value));
  return text ? text.get() : std::string();
}

std::string printNumbers(const std::vector<int>& numbers) {
  const JsonHandle array(cJSON_CreateIntArray(numbers.data(), static_cast<int>(numbers.size())));
  std::string text = array ? print(array.get()) : std::string();
  return text.empty() ? kEmptyArray : text;
}

}  // namespace

std::string encodeAppConf(const SOFTWARE_EX_S& soft) {
  const JsonHandle object = newObject(1);
  if (!object) return {};
  const std::string pid = std::to_string(static_cast<unsigned int>(soft.pid));
  addText(object.get(), pid.c_str(), soft.confPath);
  return print(object.get());
}

std::string encodeExtend(const SOFTWARE_EX_S& soft) {
  const JsonHandle object = newObject(0);
  JsonHandle kit = newObject(0);
  if (!object || !kit) return {};
  cJSON_AddItemToObject(kit.get(), "type", cJSON_CreateNumber2(nullptr, soft.developKitType));
  addText(kit.get(), "version", soft.developKitVersion);
  cJSON_AddItemToObject(object.get(), "develop_kit", kit.release());
  return print(object.get());
}

std::string encodePkgInfo(const PROC_EX_INFO_S& proc, const SOFTWARE_EX_S& soft) {
  if (proc.keyFilePath.empty()) return {};
  const JsonHandle object = newObject(0);
  if (!object) return {};
  addText(object.get(), "key_file_path", proc.keyFilePath);
  addText(object.get(), "pkg_name", soft.pkgName);
  addText(object.get(), "pkg_version", soft.pkgVersion);
  return print(object.get());
}

std::string encodeAppEnv(const PROC_EX_INFO_S& proc) {
  const JsonHandle object = newObject(0);
  if (!object) return {};
  addTexts(object.get(), proc.varEnvValues);
  addTexts(object.get(), proc.varCmdValues);
  return print(object.get());
}

std::string encodePid(const std::vector<SOFTWARE_PROC_INFO_S>& relatedProcs) {
  std::vector<int> pids;
  for (const SOFTWARE_PROC_INFO_S& proc : relatedProcs) pids.push_back(proc.pid);
  return printNumbers(pids);
}

std::string encodeSubProcess(const std::vector<SOFTWARE_MAJOR_PROC_INFO_S>& majorProcs) {
  std::vector<int> pids;
  if (!majorProcs.empty()) {
    for (const SUBPROCESS_INFO_S& sub : majorProcs.front().subProcesses) pids.push_back(sub.pid);
  }
  return printNumbers(pids);
}

std::string decodeAppConfigure(const std::string& text) {
  const JsonHandle object(cJSON_Parse(text.c_str()));
  if (!object) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]cjson parse app configure :%s failed.",
                 text.c_str());
    return {};
  }
  std::string confPath;
  bool found = false;
  const cJSON* member = nullptr;
  cJSON_ArrayForEach(member, object.get()) {
    if (!cJSON_IsString(member)) continue;
    confPath = member->valuestring;
    found = true;
  }
  if (!found) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]get configure form db failed, data %s",
                 text.c_str());
  }
  return confPath;
}

void decodeExtend(const std::string& text, SOFTWARE_EX_S& soft) {
  const JsonHandle object(cJSON_Parse(text.c_str()));
  if (!object) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]cjson parse:%s failed.", text.c_str());
    return;
  }
  const cJSON* kit = cJSON_GetObjectItem(object.get(), "develop_kit");
  const cJSON* type = cJSON_GetObjectItem(kit, "type");
  if (cJSON_IsNumber(type)) soft.developKitType = type->valueint;
  const cJSON* version = cJSON_GetObjectItem(kit, "version");
  if (cJSON_IsString(version)) soft.developKitVersion = version->valuestring;
}

void soft2DBData(const PROC_EX_INFO_S& proc, const SOFTWARE_EX_S& soft, _SOFT_TABLE_DATA& row) {
  row.appUser = soft.user;
  row.adminPermission = soft.adminPermission;
  row.startTime = soft.startTime;
  row.collectTime = soft.collectTime;
  row.installTime = soft.installTime;
  row.path = soft.binaryPath;
  row.installPath = soft.installPath;
  row.appVersion = soft.version;
  row.dockerId = soft.containerId;
  row.dockerPath = soft.containerPath;
  row.dockerType = soft.containerType;
  row.pkgInfo = encodePkgInfo(proc, soft);
  row.appEnv = encodeAppEnv(proc);
  row.pid = encodePid(soft.relatedProcs);
  row.processKey = proc.processDbKey;
  row.language = soft.language;
  row.appName = soft.name;
  row.appType = soft.appType;
  row.appConf = encodeAppConf(soft);
  row.appExtend = encodeExtend(soft);
  row.appSource = soft.source;
  row.collectStatus = 0;
  row.majorPid = soft.majorProcs.empty() ? 0 : soft.majorProcs.front().pid;
  row.subPid = encodeSubProcess(soft.majorProcs);
}

void dbData2Soft(SOFTWARE_EX_S& soft, const _SOFT_TABLE_DATA& row) {
  soft.version = row.appVersion;
  soft.appType = row.appType;
  soft.startTime = row.startTime;
  soft.collectTime = row.collectTime;
  soft.installTime = row.installTime;
  soft.confPath = decodeAppConfigure(row.appConf);
  decodeExtend(row.appExtend, soft);
}

}  // namespace LedgoraCollect
