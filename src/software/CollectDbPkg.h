#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

#include "software/SoftwareTables.h"

namespace LedgoraCollect {

/// The table "pkg_cache". Results are SQLite codes, 0 on success.
class CollectDbPkg {
 public:
  explicit CollectDbPkg(sqlite3* db) : mDb(db) {}
  virtual ~CollectDbPkg() { unInit(); }
  CollectDbPkg(const CollectDbPkg&) = delete;
  CollectDbPkg& operator=(const CollectDbPkg&) = delete;

  /// Makes table and insertion. A table of another layout, as an older version
  /// left it, is dropped and made anew: its content is only a cache.
  int init();
  void unInit();
  int createTable();
  int dropTable();
  /// Writes a row in place of any with its key_file_path.
  int insertRecord(const PKG_TABLE_DATA_S& row);
  /// Reads the current row of a "select *".
  void getRowData(sqlite3_stmt* statement, PKG_TABLE_DATA_S& row);
  /// Appends the rows for which the condition holds (empty: all).
  int queryTableData(std::vector<PKG_TABLE_DATA_S>& rows, const std::string& condition);
  int cleanTableData();

 private:
  sqlite3* mDb;
  sqlite3_stmt* mInsertStmt = nullptr;
};

}  // namespace LedgoraCollect
