#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

#include "software/SoftwareTables.h"

namespace LedgoraCollect {

/// The table "software_cache". Results are SQLite codes, 0 on success.
class CollectDBSoft {
 public:
  explicit CollectDBSoft(sqlite3* db) : mDb(db) {}
  virtual ~CollectDBSoft() { unInit(); }
  CollectDBSoft(const CollectDBSoft&) = delete;
  CollectDBSoft& operator=(const CollectDBSoft&) = delete;

  /// Makes table and insertion. A table of another layout, as an older version
  /// left it, is dropped and made anew: its content is only a cache.
  int init();
  void unInit();
  int createTable();
  int dropTable();
  /// Writes a row in place of any with its process_key.
  int insertRecord(const _SOFT_TABLE_DATA& row);
  /// Reads the current row of a "select *".
  void getRowData(sqlite3_stmt* statement, _SOFT_TABLE_DATA& row);
  /// Appends the rows for which the condition holds (empty: all). `value`, if
  /// given, is bound to the condition's parameter.
  int queryTableData(std::vector<_SOFT_TABLE_DATA>& rows, const std::string& condition,
                     const std::string* value = nullptr);
  int cleanTableData();

 private:
  sqlite3* mDb;
  sqlite3_stmt* mInsertStmt = nullptr;
};

}  // namespace LedgoraCollect
