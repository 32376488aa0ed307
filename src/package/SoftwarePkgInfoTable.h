#pragma once

#include <map>
#include <string>
#include <vector>

#include "package/PackageRows.h"

namespace LedgoraCollect {

/// The table software_pkg_info: the installed packages. Holds nothing itself;
/// every operation goes through DBManage. Booleans mean success.
class SoftwarePkgInfoTable {
 public:
  /// As that of the file table: failed index statements mean nothing.
  bool dbCreateTable();
  /// True and `row` filled if there is a package of that id.
  bool dbQueryPkgByID(std::string& id, DB_PKG_INFO_S& row);
  bool dbAddPkgInfo(DB_PKG_INFO_S& row);
  bool dbDelPkgInfoByPkgId(std::string& id);
  bool dbDelPkgInfoByEnvId(std::string& envId);
  /// Appends the id of every environment that has rows.
  bool dbGetPkgInfoEnvList(std::vector<std::string>& envIds);
  /// Adds the environment's packages to `rows`, keyed by pkg_key; of two with
  /// one key the later wins. False, too, when the reading broke off: half of
  /// the packages is no answer.
  bool dbQueryPkgByEnvID(std::string& envId, std::map<std::string, DB_PKG_INFO_S>& rows);
};

}  // namespace LedgoraCollect
