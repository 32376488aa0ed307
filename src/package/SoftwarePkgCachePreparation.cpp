#include "common/support/Log.h"
#include "package/DBManage.h"
#include "package/SoftwarePkgCache.h"

namespace LedgoraCollect {

std::map<std::string, DB_PKG_ENV_S> SoftwarePkgCache::mMapEnv;
bool SoftwarePkgCache::mVerified = false;

bool SoftwarePkgCache::dbInitTable() {
  DBManage* database = DBManage::getDBManage();
  database->beginTransactoion();
  if (mInfoTable.dbCreateTable() && mFileTable.dbCreateTable() && mEnvTable.dbCreateTable()) {
    database->commitTransaction();
    return true;
  }
  database->rollbackTransaction();
  return false;
}

bool SoftwarePkgCache::dbVerify() {
  if (!mMapEnv.empty()) return true;
  // In one transaction: an environment that another run commits between the
  // two readings would look like one without a row, and lose its packages.
  DBManage* database = DBManage::getDBManage();
  const bool alone = database->beginTransactoion() == SQLITE_OK;
  const bool loaded = mEnvTable.dbLoadEnv(mMapEnv);
  const bool clean = loaded && alone && dbDelGarbage();
  if (!loaded) {
    error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]Failed to load env table");
  } else if (!clean) {
    error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]Garbage data in db free failed!");
  }
  if (alone && (!clean || database->commitTransaction() != SQLITE_OK)) {
    database->rollbackTransaction();
    mMapEnv.clear();
    return false;
  }
  if (!clean) mMapEnv.clear();
  mVerified = clean;
  return clean;
}

bool SoftwarePkgCache::dbDelGarbage() {
  if (!dbDelUnknownEnvs()) return false;
  dbDelUnfinishedEnvs();
  return true;
}

bool SoftwarePkgCache::dbDelUnknownEnvs() {
  std::vector<std::string> ids;
  if (mInfoTable.dbGetPkgInfoEnvList(ids)) {
    for (std::string& id : ids) {
      if (mMapEnv.count(id) == 0 && !mInfoTable.dbDelPkgInfoByEnvId(id)) return false;
    }
  }
  ids.clear();
  if (mFileTable.dbGetPkgFileEnvList(ids)) {
    for (std::string& id : ids) {
      if (mMapEnv.count(id) == 0 && !mFileTable.dbDelPkgFileByEnvId(id)) return false;
    }
  }
  return true;
}

void SoftwarePkgCache::dbDelUnfinishedEnvs() {
  for (auto entry = mMapEnv.begin(); entry != mMapEnv.end();) {
    if (entry->second.pkg_collect_time != 0) {
      // Finished by an earlier process: its rows stay, but this process has yet
      // to compare them with the machine.
      entry->second.pkg_collect_time = 0;
      ++entry;
      continue;
    }
    std::string id = entry->first;
    mFileTable.dbDelPkgFileByEnvId(id);
    mInfoTable.dbDelPkgInfoByEnvId(id);
    mEnvTable.dbDelPkgEnv(id);
    entry = mMapEnv.erase(entry);
  }
}

bool SoftwarePkgCache::isCacheEnable() const {
  const auto found = mMapEnv.find(mEnvId);
  return found != mMapEnv.end() && found->second.pkg_collect_time != 0;
}

}  // namespace LedgoraCollect
