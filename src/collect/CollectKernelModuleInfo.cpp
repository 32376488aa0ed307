#include "collect/CollectKernelModuleInfo.h"

#include "collect/support/JsonMembers.h"
#include "common/CommandWord.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "hostmodel/CmdCollectionUnit.h"
#include "run/CollectLimit.h"

namespace LedgoraCollect {

namespace {

constexpr char kListCommand[] = "lsmod";
constexpr char kDetailCommand[] = "modinfo ";
constexpr int kCommandSeconds = 30;
constexpr int kWaitStep = 5;

// When modinfo has left so many questions unanswered, was stopped so often or
// took so long in all, it isn't asked again: what hangs, or a list of modules
// that is nothing but noise, would hold up the run for hours.
constexpr int kMaximumFailed = 1024;
constexpr int kMaximumStopped = 2;
constexpr std::chrono::seconds kMaximumSpent{180};

/// What all parameters of a run may take together: real machines stay far
/// below, a program that prints nothing but parameters doesn't fill the memory.
constexpr std::size_t kMaximumParameterBytes = std::size_t{16} << 20;

void addTexts(cJSON* object, const char* key, const std::vector<std::string>& values) {
  cJSON* const array = cJSON_CreateArray();
  if (!array) {
    error_output(1, "dataToJson", __LINE__, "create json object failed");
    return;
  }
  for (const std::string& value : values) {
    cJSON* const element = cJSON_CreateString(value.c_str());
    if (element) {
      cJSON_AddItemToArray(array, element);
    } else {
      error_output(1, "dataToJson", __LINE__, "json create string(%s) failed.", value.c_str());
    }
  }
  cJSON_AddItemToObject(object, key, array);
}

void addModule(cJSON* object, const KERNEL_MODULE_INFO_S& module) {
  addText(object, "mod_name", module.name);
  addText(object, "mod_version", module.version);
  addText(object, "mod_desc", module.description);
  addText(object, "mod_path", module.path);
  addText(object, "mod_size", module.size);
  addNumber(object, "holder_mod_count", module.holderCount);
  addNumber(object, "depend_proc_count", module.dependencyCount);
  addTexts(object, "parameters", module.parameters);
  addTexts(object, "holder_mods", module.holders);
  addTexts(object, "depends_procs", module.dependencies);
}

}  // namespace

bool CollectKernelModuleInfo::collectImple(cJSON* root) {
  std::vector<KERNEL_MODULE_INFO_S> modules;
  getKernelModuleInfo(modules);
  const int result = dataToJson(&modules, root);
  if (result == 0) return true;
  error_output(0, __func__, __LINE__,
               "[CollectKernelModuleInfo]Failed to get json result, error code=%d", result);
  return false;
}

void CollectKernelModuleInfo::getKernelModuleInfo(std::vector<KERNEL_MODULE_INFO_S>& modules) {
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_KERNEL);
  if (limit < 1) return;
  CmdCollectionUnit commands;
  commands.setEnvironment(getMEnv());
  std::vector<std::string> lines;
  if (!commands.executeCmd(kListCommand, lines, kCommandSeconds, kWaitStep, nullptr)) {
    error_output(0, __func__, __LINE__, "[CollectKernelModuleInfo]exec cmd: %s error.",
                 kListCommand);
    return;
  }
  for (std::size_t i = 1; i < lines.size(); ++i) {  // the first line is the header
    if (!mayAskModinfo()) break;
    if (!takeModule(lines[i], modules)) continue;
    if (static_cast<long long>(modules.size()) >= limit) break;
  }
}

bool CollectKernelModuleInfo::takeModule(const std::string& line,
                                         std::vector<KERNEL_MODULE_INFO_S>& modules) {
  KERNEL_MODULE_INFO_S module = parseLsmodLine(line);
  if (!getModuleDetailInfo(module.name, module)) {
    error_output(2, "getKernelModuleInfo", __LINE__,
                 "[CollectKernelModuleInfo]module info : %s error", module.name.c_str());
    return false;
  }
  LEDGORA_DEBUG("[CollectKernelModuleInfo]moduleHolderModCount: %d size: %s", module.holderCount,
                module.size.c_str());
  modules.push_back(std::move(module));
  return true;
}

bool CollectKernelModuleInfo::getModuleDetailInfo(std::string& name, KERNEL_MODULE_INFO_S& module) {
  if (name.empty()) return false;
  std::vector<std::string> lines;
  if (!askModinfo(name, lines)) {
    error_output(0, __func__, __LINE__,
                 "[CollectKernelModuleInfo]exec cmd: %s error, moduleName: %s.",
                 (kDetailCommand + name).c_str(), name.c_str());
    return false;
  }
  parseModinfo(lines, module);
  for (const std::string& parameter : module.parameters) mParameterBytes += parameter.size() + 1;
  if (mParameterBytes > kMaximumParameterBytes) {
    error_output(1, __func__, __LINE__, "parameters of module %s left out, there are too many",
                 name.c_str());
    module.parameters = {};
  }
  LEDGORA_DEBUG(
      "[CollectKernelModuleInfo]module info : name %s moduleVersion: %s modulePath: %s "
      "moduleDependProcCount: %d",
      name.c_str(), module.version.c_str(), module.path.c_str(), module.dependencyCount);
  return true;
}

bool CollectKernelModuleInfo::askModinfo(const std::string& name, std::vector<std::string>& lines) {
  if (!mayAskModinfo() || !acceptCommandWord(name, CommandPlace::Unquoted, __func__)) return false;
  CmdCollectionUnit commands;
  commands.setEnvironment(getMEnv());
  const Clock::time_point start = Clock::now();
  const bool answered =
      commands.executeCmd(kDetailCommand + name, lines, kCommandSeconds, kWaitStep, nullptr);
  const Clock::duration spent = Clock::now() - start;
  mSpent += spent;
  if (answered) return true;
  ++mFailed;
  if (spent >= std::chrono::seconds(kCommandSeconds)) ++mStopped;
  if (!mayAskModinfo()) error_output(1, __func__, __LINE__, "modinfo isn't asked again");
  return false;
}

bool CollectKernelModuleInfo::mayAskModinfo() const {
  return mFailed < kMaximumFailed && mStopped < kMaximumStopped && mSpent < kMaximumSpent;
}

int CollectBase::dataToJson(std::vector<KERNEL_MODULE_INFO_S>* list, cJSON* root) {
  if (!list || !root) return -1;
  JsonHandle array(cJSON_CreateArray());
  if (!array) {
    error_output(1, __func__, __LINE__, "cjson create json object failed.");
    return -1;
  }
  for (const KERNEL_MODULE_INFO_S& module : *list) {
    cJSON* const object = cJSON_CreateObject();
    if (!object) {
      error_output(1, __func__, __LINE__, "cjson create json object failed.");
      break;
    }
    addModule(object, module);
    cJSON_AddItemToArray(array.get(), object);
  }
  cJSON_AddItemToObject(root, "list", array.release());
  return 0;
}

}  // namespace LedgoraCollect
