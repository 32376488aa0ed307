#include "software/CollectDbPkg.h"

#include <iterator>

#include "common/support/Log.h"
#include "software/StateTable.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kColumns[] = {"key_file_path", "name", "version", "modify_time",
                                    "collect_time"};

constexpr TableLayout kLayout = {
    "pkg_cache",
    "(key_file_path text, name text, version varchar(64), modify_time integer(8),"
    " collect_time integer(8), PRIMARY KEY (\"key_file_path\")) ",
    "(key_file_path, name, version, modify_time, collect_time) values(?,?,?, ?,?)",
    kColumns,
    std::size(kColumns),
};

}  // namespace

int CollectDbPkg::init() { return initTable(mDb, kLayout, &mInsertStmt); }

void CollectDbPkg::unInit() {
  sqlite3_finalize(mInsertStmt);
  mInsertStmt = nullptr;
}

int CollectDbPkg::createTable() {
  unInit();
  return createTableAndInsertion(mDb, kLayout, &mInsertStmt);
}

int CollectDbPkg::dropTable() { return dropDbTable(mDb, kLayout.name); }

int CollectDbPkg::cleanTableData() { return cleanDbTableData(mDb, kLayout.name); }

int CollectDbPkg::insertRecord(const PKG_TABLE_DATA_S& row) {
  error_output(2, __func__, __LINE__, "pkg key_file_path is %s.", row.keyFilePath.c_str());
  error_output(2, __func__, __LINE__, "pkg name is %s.", row.name.c_str());
  error_output(2, __func__, __LINE__, "pkg version is %s.", row.version.c_str());
  // The messages' own conversion is for an int; the times are 64 bit wide.
  error_output(2, __func__, __LINE__, "pkg modify_time is %lld.", row.modifyTime);
  error_output(2, __func__, __LINE__, "pkg collect_time is %lld.", row.collectTime);
  if (mInsertStmt == nullptr) {
    error_output(0, __func__, __LINE__, "m_pInsertStmt is null");
    return SQLITE_ERROR;
  }
  int bound = bindText(mInsertStmt, 1, row.keyFilePath);
  bound |= bindText(mInsertStmt, 2, row.name);
  bound |= bindText(mInsertStmt, 3, row.version);
  bound |= sqlite3_bind_int64(mInsertStmt, 4, row.modifyTime);
  bound |= sqlite3_bind_int64(mInsertStmt, 5, row.collectTime);
  return runInsertion(mInsertStmt, bound);
}

void CollectDbPkg::getRowData(sqlite3_stmt* statement, PKG_TABLE_DATA_S& row) {
  readColumn(statement, 0, row.keyFilePath);
  readColumn(statement, 1, row.name);
  readColumn(statement, 2, row.version);
  row.modifyTime = sqlite3_column_int64(statement, 3);
  row.collectTime = sqlite3_column_int64(statement, 4);
}

int CollectDbPkg::queryTableData(std::vector<PKG_TABLE_DATA_S>& rows,
                                 const std::string& condition) {
  return selectRows(mDb, kLayout.name, condition, nullptr, [&](sqlite3_stmt* statement) {
    rows.emplace_back();
    getRowData(statement, rows.back());
  });
}

}  // namespace LedgoraCollect
