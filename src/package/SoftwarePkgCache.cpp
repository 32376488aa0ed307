#include "package/SoftwarePkgCache.h"

#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "common/support/Uptime.h"
#include "package/RetryPacing.h"

namespace LedgoraCollect {
namespace {

std::string md5(std::string text) { return StringUtils::getMd5Str(text); }

}  // namespace

SoftwarePkgCache::SoftwarePkgCache() {
  static bool isInit = false;
  RetryPacing& pacing = RetryPacing::of("tables");
  if (!pacing.due()) return;
  pacing.started();
  if (!isInit) isInit = dbInitTable();
  if (!dbVerify() || !isInit) pacing.failed();
}

std::string SoftwarePkgCache::genEnvId() const { return md5("ENV_" + environment + mContainerId); }

std::string SoftwarePkgCache::genPkgInfoId(const std::string& key) const {
  return md5("PKG_" + environment + mContainerId + key);
}

std::string SoftwarePkgCache::genPkgFileId(const std::string& pkgId,
                                           const std::string& path) const {
  return md5("FILE_" + environment + mContainerId + pkgId + path);
}

void SoftwarePkgCache::unit2DBPkgInfo(const SoftwarePkgCacheUnit& unit, DB_PKG_INFO_S& row) const {
  row.id = genPkgInfoId(unit.getPackageKey());
  row.pkg_env_id = mEnvId;
  row.pkg_name = unit.getPackageName();
  row.pkg_version = unit.getPackageVersion();
  row.pkg_type = unit.getPackageType();
  row.pkg_size = unit.getPackageSize();
  row.pkg_install_time = unit.getPackageInstallTime();
  row.pkg_key = unit.getPackageKey();
  row.pkg_desp = unit.getPackageDescription();
  for (const std::string& path : unit.getPackageConfigFiles()) row.pkg_cfg_files += path + ";";
}

void SoftwarePkgCache::pkgInfo2Unit(const DB_PKG_INFO_S& row, SoftwarePkgCacheUnit& unit) {
  unit.setPackageName(row.pkg_name);
  unit.setPackageVersion(row.pkg_version);
  unit.setPackageType(row.pkg_type);
  unit.setPackageSize(row.pkg_size);
  unit.setPackageInstallTime(row.pkg_install_time);
  unit.setPackageKey(row.pkg_key);
  unit.setPackageDescription(row.pkg_desp);
  unit.setPackageConfigFiles(StringUtils::split(row.pkg_cfg_files, ";", false));
}

void SoftwarePkgCache::initEnv() {
  error_output(2, __func__, __LINE__,
               "[CACHE_SYS_PKG]SysPackageCollectionUnit SET env %s, target %s, containerId:%s",
               environment.c_str(), target.c_str(), mContainerId.c_str());
  mEnvId = genEnvId();
  mRpmUnit.setEnvironment(environment);
  mRpmUnit.setTarget(target);
  mRpmAvailable = mRpmUnit.detectRpmCmd();
  mDpkgUnit.setEnvironment(environment);
  mDpkgUnit.setTarget(target);
  mDpkgAvailable = mDpkgUnit.isDpkgAvailabe();
}

bool SoftwarePkgCache::getPackageInfo(const std::string& path, SoftwarePkgCacheUnit& unit) {
  initEnv();
  if (!updatePkgCache()) {
    error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]db cache not worked!");
    return false;
  }
  return queryPackageInfoByPath(path, unit);
}

bool SoftwarePkgCache::getPackageInfo(std::vector<SoftwarePkgCacheUnit>& out, const char* path) {
  const unsigned int start = get_uptime_sec();
  error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]start get software installed package");
  initEnv();
  if (!updatePkgCache()) {
    error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]db cache not worked!");
    return false;
  }
  bool result = true;
  if (path == nullptr) {
    result = getAllPkginfoByEnv(out);
  } else {
    getPackagesOfDirectory(out, path);
  }
  error_output(2, __func__, __LINE__,
               "[CACHE_SYS_PKG]finished to get software installed package, time used %d sec",
               static_cast<int>(get_uptime_sec() - start));
  return result;
}

bool SoftwarePkgCache::getAllPkginfoByEnv(std::vector<SoftwarePkgCacheUnit>& out) {
  std::map<std::string, DB_PKG_INFO_S> rows;
  if (!mInfoTable.dbQueryPkgByEnvID(mEnvId, rows)) return false;
  out.reserve(out.size() + rows.size());
  for (const auto& [key, row] : rows) {
    SoftwarePkgCacheUnit unit;
    pkgInfo2Unit(row, unit);
    out.push_back(std::move(unit));
  }
  return true;
}

void SoftwarePkgCache::getPackagesOfDirectory(std::vector<SoftwarePkgCacheUnit>& out,
                                              const char* path) {
  FileCollectionUnit files;
  files.setEnvironment(environment);
  files.setTarget(target);
  std::vector<std::string> entries;
  bool (*const takeAll)(const std::string&, std::vector<std::string>&) = nullptr;
  files.readDirFiles(path, takeAll, entries);
  // The entries carry the root's prefix, which the stored paths don't: marks of
  // desktop programs exist for the host only.
  for (const std::string& entry : entries) {
    SoftwarePkgCacheUnit unit;
    if (!queryPackageInfoByPath(entry, unit)) continue;
    error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]found pkg %s in path %s",
                 unit.getPackageName().c_str(), entry.c_str());
    out.push_back(std::move(unit));
  }
}

SoftwarePkgCache::FileRow SoftwarePkgCache::getPkgByFile(const std::string& path,
                                                         SoftwarePkgCacheUnit& unit) {
  DP_PKG_FILE_S file;
  switch (mFileTable.lookupFile(path, mEnvId, file)) {
    case SoftwarePkgFileTable::Lookup::Missing:
      return FileRow::Missing;
    case SoftwarePkgFileTable::Lookup::Failed:
      // Not "missing": that would store that nobody owns the file, for good.
      return FileRow::NoPackage;
    case SoftwarePkgFileTable::Lookup::Found:
      break;
  }
  DB_PKG_INFO_S row;
  if (!mInfoTable.dbQueryPkgByID(file.pkg_id, row)) return FileRow::NoPackage;
  pkgInfo2Unit(row, unit);
  return FileRow::Found;
}

bool SoftwarePkgCache::queryPackageInfoByPath(const std::string& path, SoftwarePkgCacheUnit& unit) {
  error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]try to find sys pkg by file %s",
               path.c_str());
  switch (getPkgByFile(path, unit)) {
    case FileRow::Found:
      error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]found sys pkg %s by file %s",
                   unit.getPackageName().c_str(), path.c_str());
      return true;
    case FileRow::NoPackage:
      return false;
    case FileRow::Missing:
      break;
  }
  error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]pkg file %s no record!", path.c_str());
  return askRpmForOwner(path, unit);
}

bool SoftwarePkgCache::askRpmForOwner(const std::string& path, SoftwarePkgCacheUnit& unit) {
  using Ownership = RpmCmdCollectionUnit::Ownership;
  const Ownership withoutRpm = mRpmUnit.isLost() ? Ownership::NoAnswer : Ownership::NotOwned;
  const Ownership answer = mRpmAvailable ? mRpmUnit.queryOwner(path, unit) : withoutRpm;
  if (answer == Ownership::Owned) {
    error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]rpm pkg %s related file %s!",
                 unit.getPackageName().c_str(), path.c_str());
    if (!dbAddPkgFile(unit.getPackageKey(), path)) {
      error_output(0, __func__, __LINE__, "[CACHE_SYS_PKG]rpm pkg %s related file %s failed!",
                   unit.getPackageName().c_str(), path.c_str());
    }
    return true;
  }
  error_output(2, __func__, __LINE__, "[CACHE_SYS_PKG]no pkg %s related file %s!",
               unit.getPackageName().c_str(), path.c_str());
  // A row of the empty key, which no package has: the next question for this
  // path ends without a command. Such a row lives as long as its environment,
  // also when a package with that file is installed later; it is only written
  // when nobody owning the file is a fact.
  if (answer == Ownership::NotOwned) dbAddPkgFile("", path);
  return false;
}

}  // namespace LedgoraCollect
