#pragma once

#include <map>
#include <string>
#include <vector>

#include "collect/ProcessRecords.h"
#include "software/CollectDBMng.h"
#include "software/SoftwareRecords.h"

namespace LedgoraCollect {

/// What was found for a process in earlier runs, as long as it is still the
/// same process: the table "software_cache" with its rules of validity and
/// expiry. It can be lost at any moment without harm. Numbers are 0 on success.
class SoftDbManage : public CollectDBMng {
 public:
  /// The one instance, or null while its database can't be opened; each call
  /// tries again until that has worked once.
  static SoftDbManage* getSoftDBManage();

  /// The rows for which the condition holds (empty: all), by software key.
  int getCacheData(std::map<std::string, SOFTWARE_EX_S>& rows, std::string& condition);
  /// Takes version, configuration and so on from the row of that key. False
  /// unless there is one of the same start time with both of them filled.
  bool getSingleCacheData(std::string& key, SOFTWARE_EX_S& soft, long long startTime);
  /// Writes the whole row of a process's software.
  int insertSoftData(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  int updateSoftCollectTime(std::string& key, long long time);
  int updateSoftRelateInfo(std::vector<SOFTWARE_PROC_INFO_S>& procs, std::string& key);
  int updateSubProcess(std::vector<SOFTWARE_MAJOR_PROC_INFO_S>& procs, std::string& key);
  /// Deletes the rows that bear another stamp than `collectTime`.
  bool refreshCacheData(long long collectTime);

 private:
  SoftDbManage() = default;
  int updatePids(const char* column, const std::string& pids, const std::string& key);
};

}  // namespace LedgoraCollect
