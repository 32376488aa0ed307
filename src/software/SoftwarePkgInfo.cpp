#include "software/SoftwarePkgInfo.h"

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

constexpr int kRowLifeSeconds = 86400;

}  // namespace

SoftwarePkgInfo* SoftwarePkgInfo::getInstance() {
  static SoftwarePkgInfo instance;
  return &instance;
}

void SoftwarePkgInfo::getPkgInfoFromDb() {
  timeval now{};
  if (gettimeofday(&now, nullptr) != 0) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]get time error");
    return;
  }
  const std::string condition =
      "abs(" + std::to_string(now.tv_sec) + "- collect_time) < " + std::to_string(kRowLifeSeconds);
  std::vector<PKG_TABLE_DATA_S> rows;
  if (queryPkgTableData(rows, condition) != 0) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]get pkg cache from db failed, condition %s",
                 condition.c_str());
    return;
  }
  for (PKG_TABLE_DATA_S& row : rows) {
    if (checkPkgInfoDb(row)) mRows[row.keyFilePath] = row;
  }
  cleanPkgInfoDb();
  if (mRows.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]get pkg cache empty from db");
  }
}

bool SoftwarePkgInfo::checkPkgInfoDb(PKG_TABLE_DATA_S& row) {
  if (row.keyFilePath.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]get keyFilePath empty form db");
    return false;
  }
  if (access(row.keyFilePath.c_str(), F_OK) != 0) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]keyFilePath %s is not exist",
                 row.keyFilePath.c_str());
    return false;
  }
  struct stat status {};
  if (stat(row.keyFilePath.c_str(), &status) != 0) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]keyFilePath %s stat error",
                 row.keyFilePath.c_str());
    return false;
  }
  const long long modified = status.st_mtim.tv_sec;
  if (modified == row.modifyTime) return true;
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]keyFilePath %s, time %lld %lld, check failed",
               row.keyFilePath.c_str(), modified, row.modifyTime);
  return false;
}

void SoftwarePkgInfo::cleanPkgInfoDb() {
  if (cleanTableData(TABLE_PKG_CACHE)) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]clear pkg table successful");
  } else {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]clear pkg table error");
  }
}

}  // namespace LedgoraCollect
