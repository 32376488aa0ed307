#include "software/SoftwareDbManage.h"

#include "common/support/Log.h"
#include "software/SoftwareRowCodec.h"
#include "software/StateTable.h"

namespace LedgoraCollect {
namespace {

// The key's text is bound to the statement; the log shows it in its place.
std::string conditionText(const std::string& key) { return "process_key='" + key + "'"; }

}  // namespace

SoftDbManage* SoftDbManage::getSoftDBManage() {
  static SoftDbManage instance;
  return instance.init() ? &instance : nullptr;
}

int SoftDbManage::getCacheData(std::map<std::string, SOFTWARE_EX_S>& rows, std::string& condition) {
  std::vector<_SOFT_TABLE_DATA> list;
  const int result = querySoftTableData(list, condition);
  if (result != 0) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]failed to query soft info from cache!");
    return result;
  }
  for (const _SOFT_TABLE_DATA& row : list) {
    SOFTWARE_EX_S soft;
    dbData2Soft(soft, row);
    rows.emplace(row.processKey, std::move(soft));
  }
  return 0;
}

bool SoftDbManage::getSingleCacheData(std::string& key, SOFTWARE_EX_S& soft, long long startTime) {
  if (key.empty()) return false;
  error_output(2, __func__, __LINE__,
               "[COLLECT SOFT]query single software softCache, condition is %s !",
               conditionText(key).c_str());
  std::vector<_SOFT_TABLE_DATA> rows;
  const int result = querySoftTableData(rows, "process_key=?", &key);
  if (result != 0) {
    error_output(1, __func__, __LINE__,
                 "[COLLECT SOFT]procKey %s ,can not find soft info from softCache, ret = %d!",
                 key.c_str(), result);
    return false;
  }
  if (rows.empty()) {
    error_output(1, __func__, __LINE__,
                 "[COLLECT SOFT]procKey %s ,can not find soft info from softCache!", key.c_str());
    return false;
  }
  if (rows.size() > 1) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]procKey %s ,find %ld soft softCache !",
                 key.c_str(), static_cast<long>(rows.size()));
  }
  const _SOFT_TABLE_DATA& row = rows.front();
  if (row.startTime != startTime) {
    error_output(1, __func__, __LINE__,
                 "[COLLECT SOFT]procKey %s, startTime %lld, db time %lld, get db failed",
                 key.c_str(), startTime, row.startTime);
    return false;
  }
  SOFTWARE_EX_S cached;
  dbData2Soft(cached, row);
  // A partial result is never trusted: such a software is read on every run.
  if (cached.version.empty() || cached.confPath.empty()) {
    error_output(1, __func__, __LINE__,
                 "[COLLECT SOFT]version %s or configure %s empty, get db failed",
                 cached.version.c_str(), cached.confPath.c_str());
    return false;
  }
  soft.version = cached.version;
  soft.appType = cached.appType;
  soft.collectTime = cached.collectTime;
  soft.startTime = cached.startTime;
  soft.confPath = cached.confPath;
  soft.installTime = cached.installTime;
  soft.developKitType = cached.developKitType;
  soft.developKitVersion = cached.developKitVersion;
  if (!soft.majorProcs.empty()) {
    soft.majorProcs.front().version = soft.version;
    soft.majorProcs.front().confPath = soft.confPath;
  }
  return true;
}

int SoftDbManage::insertSoftData(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft) {
  if (proc == nullptr) return 1;
  _SOFT_TABLE_DATA row;
  soft2DBData(*proc, soft, row);
  return updateSoftData(row);
}

int SoftDbManage::updateSoftCollectTime(std::string& key, long long time) {
  const std::string stamp = std::to_string(time);
  const std::string shown =
      "UPDATE software_cache set collect_time=" + stamp + " WHERE " + conditionText(key);
  const int result = executeBound(
      connection(), "UPDATE software_cache set collect_time=? WHERE process_key=?", {&stamp, &key});
  if (result == 0) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]update software collect_time successful, sql %s", shown.c_str());
  } else {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]update software collect_time failed, sql %s",
                 shown.c_str());
  }
  return result;
}

int SoftDbManage::updatePids(const char* column, const std::string& pids, const std::string& key) {
  const std::string sql =
      std::string("UPDATE software_cache set ") + column + "=? WHERE process_key=?";
  const std::string shown = std::string("UPDATE software_cache set ") + column + "='" + pids +
                            "' WHERE " + conditionText(key);
  const int result = executeBound(connection(), sql.c_str(), {&pids, &key});
  if (result == 0) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]update software relate info successful, sql %s", shown.c_str());
  } else {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]update software relate info failed, sql %s",
                 shown.c_str());
  }
  return result;
}

int SoftDbManage::updateSoftRelateInfo(std::vector<SOFTWARE_PROC_INFO_S>& procs, std::string& key) {
  return updatePids("pid", encodePid(procs), key);
}

int SoftDbManage::updateSubProcess(std::vector<SOFTWARE_MAJOR_PROC_INFO_S>& procs,
                                   std::string& key) {
  return updatePids("sub_pid", encodeSubProcess(procs), key);
}

bool SoftDbManage::refreshCacheData(long long collectTime) {
  std::map<std::string, SOFTWARE_EX_S> rows;
  std::string all;
  if (getCacheData(rows, all) != 0) return false;
  for (const auto& [key, soft] : rows) {
    if (soft.collectTime == collectTime) continue;
    const std::string shown = "delete from software_cache WHERE " + conditionText(key);
    if (executeBound(connection(), "delete from software_cache WHERE process_key=?", {&key}) == 0) {
      error_output(2, __func__, __LINE__, "[COLLECT SOFT]delete software %s success, sql %s",
                   key.c_str(), shown.c_str());
    } else {
      error_output(0, __func__, __LINE__, "[COLLECT SOFT]delete software %s failed, sql %s",
                   key.c_str(), shown.c_str());
    }
  }
  return true;
}

}  // namespace LedgoraCollect
