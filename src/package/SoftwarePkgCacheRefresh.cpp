#include <sys/time.h>

#include "common/support/Log.h"
#include "package/DBManage.h"
#include "package/PkgFileFilter.h"
#include "package/RetryPacing.h"
#include "package/SoftwarePkgCache.h"

namespace LedgoraCollect {
namespace {

/// Seconds since the epoch, 0 if they can't be told.
long currentSeconds() {
  timeval now{};
  return gettimeofday(&now, nullptr) == 0 ? now.tv_sec : 0;
}

}  // namespace

DP_PKG_FILE_S SoftwarePkgCache::initPkgFile(const std::string& pkgId,
                                            const std::string& path) const {
  return {genPkgFileId(pkgId, path), mEnvId, pkgId, currentSeconds(), path};
}

bool SoftwarePkgCache::updatePkgCache() {
  if (isCacheEnable()) {
    error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]db cache is enable, skipped to rebuild!!");
    return true;
  }
  RetryPacing& pacing = RetryPacing::of(mEnvId);
  if (!pacing.due()) return false;
  error_output(2, __func__, __LINE__,
               "[CACHE_SYS_PKG]start to update install package db cache! cache env id:%s, "
               "container id:%s",
               mEnvId.c_str(), mContainerId.c_str());
  pacing.started();
  const bool updated = (mVerified || dbVerify()) && refresh();
  if (!updated) pacing.failed();
  error_output(2, __func__, __LINE__,
               updated ? "[CACHE_SYS_PKG]success to update install package db cache!"
                       : "[CACHE_SYS_PKG]failed to update install package db cache!");
  return updated;
}

bool SoftwarePkgCache::refresh() {
  std::vector<SoftwarePkgCacheUnit> list;
  getRpmPackagesInfo(list, nullptr);
  getDpkgPackagesInfo(list, nullptr);
  return updatePkgCache(list);
}

void SoftwarePkgCache::getRpmPackagesInfo(std::vector<SoftwarePkgCacheUnit>& list,
                                          const char* path) {
  if (!mRpmAvailable) return;
  if (path != nullptr) {
    mRpmUnit.collectSoftwares(list, path);
  } else {
    mRpmUnit.collectSoftwares(list);
  }
}

void SoftwarePkgCache::getDpkgPackagesInfo(std::vector<SoftwarePkgCacheUnit>& list,
                                           const char* path) {
  if (!mDpkgAvailable) return;
  error_output(2, __func__, __LINE__,
               "[DPKG]start to get all installed dpkg package. target: %s, env: %s", target.c_str(),
               environment.c_str());
  mDpkgUnit.loadDpkgList(path);
  for (const DPKG_PKG_INFO& package : mDpkgUnit.getDpkgList()) {
    SoftwarePkgCacheUnit unit;
    mDpkgUnit.getDpkgPkgCacheUnit(&package, unit);
    list.push_back(std::move(unit));
  }
  error_output(2, __func__, __LINE__, "[DPKG]finish to get all installed dpkg package.");
}

bool SoftwarePkgCache::updatePkgCache(std::vector<SoftwarePkgCacheUnit>& list) {
  DBManage* database = DBManage::getDBManage();
  database->beginTransactoion();
  if (writeRefresh(list)) {
    // A commit that only has to wait for a reader leaves the transaction open,
    // with the new rows in sight. One that failed for good has taken them back,
    // and older rows are no answer.
    if (database->commitTransaction() == SQLITE_OK || database->inTransaction()) return true;
    error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]the update couldn't be committed");
  }
  database->rollbackTransaction();
  const auto entry = mMapEnv.find(mEnvId);
  if (entry != mMapEnv.end()) entry->second.pkg_collect_time = 0;
  return false;
}

bool SoftwarePkgCache::writeRefresh(std::vector<SoftwarePkgCacheUnit>& list) {
  // Without a transaction (the begin met another writer, or SQLite ended it
  // because the disk is full) nothing may be written: rows going in one by one
  // would mix with those of the other run, or would be only half of an update.
  const DBManage* database = DBManage::getDBManage();
  if (!mVerified || !database->inTransaction() || !dbUpdatePkgEnv(0)) {
    error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]failed to clear env update time");
    return false;
  }
  if (!dbUpdatePkgInfo(list)) {
    error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]failed to update db package cache");
    return false;
  }
  if (!database->inTransaction() || !dbUpdatePkgEnv()) {
    error_output(0, __func__, __LINE__,
                 "[CACHE_SYS_PKG]failed to update install package db cache!");
    return false;
  }
  return true;
}

bool SoftwarePkgCache::dbUpdatePkgEnv(long time) {
  DB_PKG_ENV_S& row = mMapEnv[mEnvId];
  row.id = mEnvId;
  row.pkg_env = environment;
  row.container_id = mContainerId;
  row.pkg_collect_time = time;
  return mEnvTable.dbUpdatePkgEnv(row);
}

bool SoftwarePkgCache::dbUpdatePkgEnv() { return dbUpdatePkgEnv(currentSeconds()); }

bool SoftwarePkgCache::dbUpdatePkgInfo(std::vector<SoftwarePkgCacheUnit>& list) {
  error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]start update db pkginfo");
  std::map<std::string, DB_PKG_INFO_S> rows;
  if (!mInfoTable.dbQueryPkgByEnvID(mEnvId, rows)) {
    error_output(0, __func__, __LINE__,
                 "[CACHE_SYS_PKG]failed to get db package info ,env=%s target=%s, envId=%s",
                 environment.c_str(), target.c_str(), mEnvId.c_str());
    return false;
  }
  for (const SoftwarePkgCacheUnit& unit : list) {
    if (rows.erase(unit.getPackageKey()) != 0) continue;
    if (!dbAddPackage(unit)) return false;
  }
  dbDelGonePackages(rows);
  error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]success to update db pkginfo");
  return true;
}

bool SoftwarePkgCache::dbAddPackage(const SoftwarePkgCacheUnit& unit) {
  const char* name = unit.getPackageName().c_str();
  DB_PKG_INFO_S row;
  unit2DBPkgInfo(unit, row);
  if (!mInfoTable.dbAddPkgInfo(row)) {
    error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]failed to add %s to db", name);
    return false;
  }
  if (unit.getPackageType() == "dpkg" && !dbUpdateDpkgPkgFile(row)) {
    error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]failed to add %s pkg files", name);
    return false;
  }
  error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]add pkg %s to db cache success!", name);
  return true;
}

void SoftwarePkgCache::dbDelGonePackages(std::map<std::string, DB_PKG_INFO_S>& gone) {
  if (gone.empty()) return;
  std::vector<std::string> ids;
  for (const auto& entry : gone) ids.push_back(entry.second.id);
  const bool filesDeleted = mFileTable.dbDelPkgFilesByPkgIds(ids);
  for (auto& [key, row] : gone) {
    if (filesDeleted && mInfoTable.dbDelPkgInfoByPkgId(row.id)) continue;
    error_output(1, __func__, __LINE__, "[CACHE_SYS_PKG]failed to delete pkg %s info",
                 row.pkg_name.c_str());
  }
}

bool SoftwarePkgCache::dbUpdateDpkgPkgFile(DB_PKG_INFO_S& row) {
  const char* name = row.pkg_name.c_str();
  error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]try to update %s install files", name);
  std::vector<std::string> files;
  // A package without a list file adds no rows.
  mDpkgUnit.getPackageInstallFiles(row.pkg_name, "", files, pkgFileFilter);
  if (!dbAddPkgFile(row.pkg_key, files)) {
    error_output(1, __func__, __LINE__, "[CACHE_SYS_PKG]update %s install files failed!", name);
    return false;
  }
  error_output(2, __func__, __LINE__,
               "[CACHE_SYS_PKG]try to update %s install files success,file num %d", name,
               static_cast<int>(files.size()));
  return true;
}

bool SoftwarePkgCache::dbAddPkgFile(const std::string& key, std::vector<std::string>& paths) {
  const std::string pkgId = genPkgInfoId(key);
  std::vector<DP_PKG_FILE_S> rows;
  rows.reserve(paths.size());
  for (const std::string& path : paths) rows.push_back(initPkgFile(pkgId, path));
  const std::size_t added = mFileTable.dbAddPkgFiles(rows);
  if (added == rows.size()) return true;
  error_output(1, __func__, __LINE__, "[CACHE_SYS_PKG]failed add pkg file %s",
               paths[added].c_str());
  return false;
}

bool SoftwarePkgCache::dbAddPkgFile(const std::string& key, const std::string& path) {
  std::vector<std::string> paths{path};
  return dbAddPkgFile(key, paths);
}

}  // namespace LedgoraCollect
