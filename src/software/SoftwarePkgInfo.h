#pragma once

#include <map>
#include <string>

#include "software/CollectDBMng.h"

namespace LedgoraCollect {

/// Cleans up the table "pkg_cache" that earlier versions wrote. Nothing writes
/// rows today: the package cache has taken over that work. Singleton.
class SoftwarePkgInfo : public CollectDBMng {
 public:
  static SoftwarePkgInfo* getInstance();

  /// Takes over the rows younger than a day whose file is unchanged, and
  /// empties the table.
  void getPkgInfoFromDb();
  /// True if the row's key file still has the row's modification time.
  bool checkPkgInfoDb(PKG_TABLE_DATA_S& row);
  void cleanPkgInfoDb();

 private:
  SoftwarePkgInfo() = default;

  std::map<std::string, PKG_TABLE_DATA_S> mRows;  // by key file
};

}  // namespace LedgoraCollect
