#pragma once

#include <string>
#include <vector>

#include "package/PackageRows.h"

namespace LedgoraCollect {

/// The table software_pkg_file: which package a path belongs to. Holds
/// nothing itself; every operation goes through DBManage. Booleans mean
/// success.
class SoftwarePkgFileTable {
 public:
  enum class Lookup {
    Found,
    Missing,  ///< the table was read and has no such row
    Failed,   ///< the table couldn't be read: nothing is known
  };

  /// True if the table is there. The indexes are made with it; on every start
  /// after the first they exist already, which is logged and means nothing.
  bool dbCreateTable();
  bool dbAddPkgFile(DP_PKG_FILE_S& row);
  /// Adds the rows in their order with one prepared statement. Returns how many
  /// went in; fewer than there are: the one at that index failed.
  std::size_t dbAddPkgFiles(const std::vector<DP_PKG_FILE_S>& rows);
  bool dbDelPkgFileByPkgId(std::string& pkgId);
  /// The same for many packages. The table has no index on the package, so it
  /// is walked once for hundreds of them instead of once for each.
  bool dbDelPkgFilesByPkgIds(const std::vector<std::string>& pkgIds);
  bool dbDelPkgFileByEnvId(std::string& envId);
  /// True and `row` filled if the environment has a row for `path`; of several
  /// the first is read.
  bool dbQueryFile(const std::string& path, const std::string& envId, DP_PKG_FILE_S& row);
  /// The same, telling a missing row from a table that couldn't be read.
  Lookup lookupFile(const std::string& path, const std::string& envId, DP_PKG_FILE_S& row);
  /// Appends the id of every environment that has rows.
  bool dbGetPkgFileEnvList(std::vector<std::string>& envIds);
};

}  // namespace LedgoraCollect
