#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "common/support/StateDatabase.h"
#include "software/CollectDBSoft.h"
#include "software/CollectDbPkg.h"

namespace LedgoraCollect {

/// A connection to the state database with the tables of the software side.
/// Numbers are SQLite codes, 0 on success, or 1 without a connection.
class CollectDBMng {
 public:
  CollectDBMng() : mDatabase("") {}
  ~CollectDBMng() { unInit(); }

  /// Opens database and tables. True when usable; a failed call leaves it
  /// closed and can be repeated, calls after a success return at once.
  bool init();
  /// Closes all. Always true.
  bool unInit();
  int openDb();
  void closeDb();
  int createStmts();
  void destroyStmts();
  /// A table that can't be made is logged and doesn't fail this: the
  /// statements on it fail later, one by one.
  int dbTablesInit();

  int querySoftTableData(std::vector<_SOFT_TABLE_DATA>& rows, const std::string& condition,
                         const std::string* value = nullptr);
  int queryPkgTableData(std::vector<PKG_TABLE_DATA_S>& rows, const std::string& condition);
  int updateSoftData(_SOFT_TABLE_DATA& row);
  int insertPkgData(PKG_TABLE_DATA_S& row);
  /// Many rows in one transaction; a row that can't be written is logged.
  int commitSoftwareAddData(std::vector<_SOFT_TABLE_DATA>& rows);
  int commitPkgAddData(std::vector<PKG_TABLE_DATA_S>& rows);
  bool cleanTableData(TABLE_TYPE type);
  int executeSql(std::string& sql);
  int beginTransactoion();
  int commitTransaction();
  int rollbackTransaction();

 protected:
  sqlite3* connection() const { return mDatabase.handle(); }

 private:
  bool giveUp(const char* message);
  int abandonTransaction();
  int endTransaction();

  bool mInitialised = false;
  StateDatabase mDatabase;
  std::unique_ptr<CollectDBSoft> mSoftTable;
  std::unique_ptr<CollectDbPkg> mPackageTable;
};

}  // namespace LedgoraCollect
