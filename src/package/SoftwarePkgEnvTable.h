#pragma once

#include <map>
#include <string>

#include "package/PackageRows.h"

namespace LedgoraCollect {

/// The table software_pkg_env: the environments whose packages are cached.
/// Holds nothing itself; every operation goes through DBManage. Booleans mean
/// success.
class SoftwarePkgEnvTable {
 public:
  bool dbCreateTable();
  bool dbDelPkgEnv(std::string& id);
  bool dbUpdatePkgEnv(DB_PKG_ENV_S& row);
  /// Adds every row to `rows`, keyed by id; an existing key is overwritten.
  bool dbLoadEnv(std::map<std::string, DB_PKG_ENV_S>& rows);
};

}  // namespace LedgoraCollect
