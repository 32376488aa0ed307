#include "collect/CollectEnvInfo.h"

#include <pwd.h>
#include <unistd.h>

#include <map>

#include "collect/environment/SystemVariables.h"
#include "collect/support/JsonMembers.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "hostmodel/EnvCmdCollectionUnit.h"
#include "run/CollectLimit.h"
#include "run/ListDocument.h"

namespace LedgoraCollect {

namespace {

/// Set by the run itself for its children, so it says nothing of the machine.
constexpr char kOwnVariable[] = "LEDGORA_START_TIME";

void addVariable(cJSON* object, const std::string& name, const ENV_INFO_S& variable) {
  addText(object, "env_name", name);
  addText(object, "env_value", variable.envValue);
  addText(object, "env_type", variable.envType);
  addText(object, "env_user", variable.envUser);
}

std::vector<std::string> ownEnvironment() {
  std::vector<std::string> entries;
  for (char** entry = ::environ; entry && *entry; ++entry) entries.emplace_back(*entry);
  return entries;
}

}  // namespace

bool CollectEnvInfo::init() {
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_ENV);
  if (limit != 0) {
    mMaxEnvCount = limit;
  } else {
    error_output(1, __func__, __LINE__, "get env limit failed");
  }
  return true;
}

bool CollectEnvInfo::collectImple(cJSON* root) {
  error_output(2, __func__, __LINE__, "collect type_20 EnvInfo start!");
  std::vector<ENV_INFO_S> list;
  getEnvInfo(list);
  if (list.empty()) error_output(1, __func__, __LINE__, "get env2Json is empty");
  const int result = dataToJson(&list, root);
  if (result != 0) {
    error_output(0, __func__, __LINE__, "Failed to get json result, error code=%d", result);
    return false;
  }
  error_output(2, __func__, __LINE__, "collect type_20 EnvInfo end!");
  return true;
}

void CollectEnvInfo::getEnvInfo(std::vector<ENV_INFO_S>& list) {
  if (getMEnv().empty() && !getEnvVariable(list)) {
    error_output(1, __func__, __LINE__, "getEnvVariable failed");
  }
  if (!getShellVariable(list)) error_output(1, __func__, __LINE__, "getShellVariable failed");
}

bool CollectEnvInfo::getEnvVariable(std::vector<ENV_INFO_S>& list) {
  const std::vector<std::string> entries = ownEnvironment();
  if (entries.empty()) {
    error_output(1, __func__, __LINE__, "allEnvVariables is empty");
    return false;
  }
  getCurrentUserName(mCurrentUser);
  for (const std::string& entry : entries) {
    if (isFull(list)) {
      error_output(1, __func__, __LINE__, "collect env more than %d maxEnvCount", mMaxEnvCount);
      break;
    }
    ENV_INFO_S record;
    if (checkVariable(record, entry) && record.envName != kOwnVariable) {
      append(std::move(record), list);
    }
  }
  return true;
}

bool CollectEnvInfo::getShellVariable(std::vector<ENV_INFO_S>& list) {
  if (getMEnv().empty()) getCurrentUserName(mCurrentUser);
  EnvCmdCollectionUnit shell;
  shell.setEnvironment(getMEnv());
  std::map<std::string, std::string> variables;
  if (!shell.collectHostEnv(variables)) {
    error_output(1, __func__, __LINE__, "collectHostEnv failed");
    return false;
  }
  for (const auto& [name, value] : variables) {
    if (isFull(list)) {
      error_output(1, __func__, __LINE__, "collect env more than %d maxEnvCount", mMaxEnvCount);
      break;
    }
    if (name == kOwnVariable || mCollected.count(name) != 0) continue;
    append({name, value, "", ""}, list);
  }
  return true;
}

// What was in a refused entry may be part of a secret, so the messages name
// the variable and leave out the rest.
bool CollectEnvInfo::checkVariable(ENV_INFO_S& record, const std::string& text) const {
  const std::size_t equals = text.find('=');
  const bool named = equals != std::string::npos && equals > 0;
  if (!named || equals + 1 == text.size()) {
    error_output(1, __func__, __LINE__, "variable: %s invalid environment variable",
                 named ? text.substr(0, equals).c_str() : "");
    return false;
  }
  const std::string name = text.substr(0, equals);
  if (mCollected.count(name) != 0) {
    error_output(1, __func__, __LINE__, "variable: %s has been collected", name.c_str());
    return false;
  }
  record.envName = name;
  record.envValue = text.substr(equals + 1);
  return true;
}

void CollectEnvInfo::checkEnvType(const std::string& name, std::string& type) {
  type = isSystemVariable(name) ? "system" : "user";
}

void CollectEnvInfo::getCurrentUserName(std::string& name) {
  const uid_t uid = ::getuid();
  const passwd* const entry = ::getpwuid(uid);
  if (entry && entry->pw_name) {
    name = entry->pw_name;
    return;
  }
  error_output(1, __func__, __LINE__, "get currentUserUid %d passwd failed", static_cast<int>(uid));
  name = "root";
}

bool CollectEnvInfo::isFull(const std::vector<ENV_INFO_S>& list) const {
  return static_cast<long long>(list.size()) >= mMaxEnvCount;
}

void CollectEnvInfo::append(ENV_INFO_S record, std::vector<ENV_INFO_S>& list) {
  checkEnvType(record.envName, record.envType);
  record.envUser = mCurrentUser;
  mCollected.insert(record.envName);
  list.push_back(std::move(record));
}

int CollectBase::dataToJson(std::vector<ENV_INFO_S>* list, cJSON* root) {
  if (!list || !root) return -1;
  ListDocument document(__func__);
  if (!document) return -1;
  for (const ENV_INFO_S& variable : *list) {
    const std::string name = StringUtils::trim(variable.envName, " \r\n\t");
    if (name.empty()) continue;
    cJSON* const object = document.append();
    if (object == nullptr) break;
    addVariable(object, name, variable);
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
