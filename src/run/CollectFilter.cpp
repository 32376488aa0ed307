#include "run/CollectFilter.h"

#include <algorithm>

#include "common/RegexUtils.h"
#include "common/support/Handles.h"
#include "common/support/InstallPath.h"
#include "common/support/Log.h"
#include "run/CollectJsonUtil.h"

namespace LedgoraCollect {

namespace {

constexpr std::size_t kPathBytes = 4096;

bool holds(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// An entry's name must equal the process's name and its cmdline occur in the
/// command line; the one that is empty isn't asked for.
bool matchesProcess(const std::pair<const std::string, std::string>& entry, const std::string& name,
                    const std::string& cmdline) {
  if (!entry.first.empty() && entry.first != name) return false;
  return entry.second.empty() || cmdline.find(entry.second) != std::string::npos;
}

bool anyMatches(const std::multimap<std::string, std::string>& entries, const std::string& name,
                const std::string& cmdline) {
  return std::any_of(entries.begin(), entries.end(),
                     [&](const auto& entry) { return matchesProcess(entry, name, cmdline); });
}

}  // namespace

CollectFilter* CollectFilter::getInstance() {
  static CollectFilter instance;
  instance.init();
  return &instance;
}

void CollectFilter::init() {
  static bool tried = false;
  if (tried) return;
  char path[kPathBytes] = {};
  dirutils_path_transform("@/../config/soft_app_filter.json", path, sizeof path);
  loadFilterFile(path);
  tried = true;
}

bool CollectFilter::loadFilterFile(const char* path) {
  const JsonHandle file(ParseJsonFile(path));
  if (!file) {
    error_output(2, __func__, __LINE__, "failed to load filter file %s.", path);
    return false;
  }
  const auto member = [&](const char* key) { return cJSON_GetObjectItem(file.get(), key); };
  JSONArray2Vct(member("cmd_disable"), mCmdDisable);
  JSONArray2VctInt(member("collect_disable"), mCollectDisable);
  JSONObjArray2Map(member("collect_proc_only"), "name", "cmdline", mProcOnly);
  JSONObjArray2Map(member("collect_proc_disable"), "name", "cmdline", mProcDisable);
  JSONArray2Vct(member("collect_soft_disable"), mSoftDisable);
  JSONArray2Vct(member("collect_soft_only"), mSoftOnly);
  return true;
}

bool CollectFilter::filterCollectType(int type) {
  return std::find(mCollectDisable.begin(), mCollectDisable.end(), type) != mCollectDisable.end();
}

bool CollectFilter::filterCmd(const std::string& command) {
  std::string line = command;
  return std::any_of(mCmdDisable.begin(), mCmdDisable.end(),
                     [&](const std::string& expression) { return regex_match(line, expression); });
}

bool CollectFilter::filterProc(std::string& name, std::string& cmdline) {
  return isDisableProcess(name, cmdline) || !isEnabledProcess(name, cmdline);
}

// Disabling takes the name up to its last ".", so that an entry "java" also
// disables "java.bin". isEnabledProcess takes the whole name: the two differ
// on purpose, and filter files rely on it.
bool CollectFilter::isDisableProcess(std::string& name, std::string& cmdline) {
  return anyMatches(mProcDisable, name.substr(0, name.rfind('.')), cmdline);
}

bool CollectFilter::isEnabledProcess(std::string& name, std::string& cmdline) {
  return mProcOnly.empty() || anyMatches(mProcOnly, name, cmdline);
}

bool CollectFilter::filterSoft(std::string& name) {
  return isDisabledSoft(name) || !isEnabledSoft(name);
}

bool CollectFilter::isEnabledSoft(std::string& name) {
  return mSoftOnly.empty() || holds(mSoftOnly, name);
}

bool CollectFilter::isDisabledSoft(std::string& name) { return holds(mSoftDisable, name); }

}  // namespace LedgoraCollect
