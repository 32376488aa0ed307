#pragma once

#include <map>
#include <string>
#include <vector>

#include "hostmodel/CollectionBase.h"
#include "package/DpkgFileCollectionUnit.h"
#include "package/RpmCmdCollectionUnit.h"
#include "package/SoftwarePkgCacheUnit.h"
#include "package/SoftwarePkgEnvTable.h"
#include "package/SoftwarePkgFileTable.h"
#include "package/SoftwarePkgInfoTable.h"

namespace LedgoraCollect {

/// Which packages are installed, and which package owns a file: answered from
/// the tables of "hoststate.db", which are brought up to date once per process
/// and environment before the first answer. Calling order: construct,
/// setEnvironment, setTarget, setContainerId, then any number of
/// getPackageInfo; the environment may change between calls.
class SoftwarePkgCache : public CollectionBase {
 public:
  SoftwarePkgCache();

  /// Empty for the host. Together with the environment it names the cache, so
  /// that all processes of a container share one.
  void setContainerId(const std::string& id) { mContainerId = id; }

  /// The package that owns `path`, named as the inspected system names it.
  /// True if there is one; otherwise `unit` is undefined. Configuration files
  /// are missing in an answer that comes straight from rpm.
  bool getPackageInfo(const std::string& path, SoftwarePkgCacheUnit& unit);
  /// Without a path: appends every package, in ascending byte order of the
  /// key. With one: appends the owner of each entry of that directory, one per
  /// entry. False if the cache can't be brought up to date: then nothing is
  /// answered from older rows.
  bool getPackageInfo(std::vector<SoftwarePkgCacheUnit>& out, const char* path);

 private:
  /// Outcome of the lookup of a path in the database.
  enum class FileRow {
    Found = 0,
    NoPackage = 1,  ///< a row that no package owns, or a table that can't be read
    Missing = 2,
  };

  // Ids: MD5 in hexadecimal over a prefix, the environment and the parts.
  std::string genEnvId() const;
  std::string genPkgInfoId(const std::string& key) const;
  std::string genPkgFileId(const std::string& pkgId, const std::string& path) const;
  void unit2DBPkgInfo(const SoftwarePkgCacheUnit& unit, DB_PKG_INFO_S& row) const;
  static void pkgInfo2Unit(const DB_PKG_INFO_S& row, SoftwarePkgCacheUnit& unit);
  DP_PKG_FILE_S initPkgFile(const std::string& pkgId, const std::string& path) const;

  // Preparation of the database and of the environment.
  bool dbInitTable();
  bool dbVerify();
  bool dbDelGarbage();
  bool dbDelUnknownEnvs();
  void dbDelUnfinishedEnvs();
  void initEnv();
  bool isCacheEnable() const;

  // Refresh.
  bool updatePkgCache();
  bool updatePkgCache(std::vector<SoftwarePkgCacheUnit>& list);
  bool refresh();
  bool writeRefresh(std::vector<SoftwarePkgCacheUnit>& list);
  bool dbUpdatePkgInfo(std::vector<SoftwarePkgCacheUnit>& list);
  bool dbAddPackage(const SoftwarePkgCacheUnit& unit);
  void dbDelGonePackages(std::map<std::string, DB_PKG_INFO_S>& gone);
  bool dbUpdateDpkgPkgFile(DB_PKG_INFO_S& row);
  bool dbUpdatePkgEnv(long time);
  bool dbUpdatePkgEnv();
  bool dbAddPkgFile(const std::string& key, std::vector<std::string>& paths);
  bool dbAddPkgFile(const std::string& key, const std::string& path);
  void getRpmPackagesInfo(std::vector<SoftwarePkgCacheUnit>& list, const char* path);
  void getDpkgPackagesInfo(std::vector<SoftwarePkgCacheUnit>& list, const char* path);

  // Lookup.
  bool getAllPkginfoByEnv(std::vector<SoftwarePkgCacheUnit>& out);
  void getPackagesOfDirectory(std::vector<SoftwarePkgCacheUnit>& out, const char* path);
  FileRow getPkgByFile(const std::string& path, SoftwarePkgCacheUnit& unit);
  bool queryPackageInfoByPath(const std::string& path, SoftwarePkgCacheUnit& unit);
  bool askRpmForOwner(const std::string& path, SoftwarePkgCacheUnit& unit);

  std::string mEnvId;
  std::string mContainerId;
  SoftwarePkgEnvTable mEnvTable;
  SoftwarePkgFileTable mFileTable;
  SoftwarePkgInfoTable mInfoTable;
  bool mRpmAvailable = false;
  bool mDpkgAvailable = false;
  RpmCmdCollectionUnit mRpmUnit;
  DpkgFileCollectionUnit mDpkgUnit;

  /// What this process knows of the environments, by id. A time other than 0
  /// means that this process has refreshed the environment; it isn't the time
  /// on disk.
  static std::map<std::string, DB_PKG_ENV_S> mMapEnv;
  /// Whether this process has removed what a broken run left. Before that no
  /// row may be compared with the machine.
  static bool mVerified;
};

}  // namespace LedgoraCollect
