#include "package/SoftwarePkgFileTable.h"

#include <algorithm>
#include <iterator>

#include "package/DBManage.h"
#include "package/TableStatement.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kCreate =
    "CREATE TABLE if not exists \"software_pkg_file\" (\n  \"id\" text NOT NULL,\n  \"env_id\" "
    "text,\n"
    "  \"pkg_id\" text,\n  \"pkg_file_collect_time\" integer,\n  \"pkg_file_path\" TEXT,\n"
    "  PRIMARY KEY (\"id\")\n);";
// Without a guard against an index that exists, on purpose: administrators
// know the two messages of every later start.
constexpr const char* kIndexes[] = {
    "CREATE INDEX pkg_file_path ON software_pkg_file (pkg_file_path);",
    "CREATE INDEX pkg_file_env_id ON software_pkg_file (env_id);",
};
constexpr const char* kAdd =
    "INSERT OR REPLACE INTO \"software_pkg_file\" (\"id\", \"env_id\", \"pkg_id\", "
    "\"pkg_file_collect_time\", \"pkg_file_path\") VALUES (?, ?, ?, ?, ?);";
constexpr const char* kDeleteByEnv = "delete FROM software_pkg_file WHERE env_id = ?";
// The plus keeps SQLite from choosing the index on the environment, which
// would read every row of the environment for one path.
constexpr const char* kQuery =
    "SELECT * FROM software_pkg_file WHERE pkg_file_path = ? and  +env_id = ?";
constexpr const char* kEnvironments = "select DISTINCT(env_id) from software_pkg_file";

/// Packages deleted by one walk of the table; SQLite takes 999 parameters
/// everywhere.
constexpr std::size_t kDeletedAtOnce = 500;

bool deleteFilesOf(const std::vector<std::string>& pkgIds, std::size_t first, std::size_t count) {
  std::string sql = "delete FROM software_pkg_file WHERE pkg_id ";
  if (count == 1) {
    sql += "= ?";
  } else {
    sql += "in (?";
    for (std::size_t i = 1; i < count; ++i) sql += ",?";
    sql += ")";
  }
  TableStatement statement(sql.c_str());
  if (!statement.prepared()) return false;
  for (std::size_t i = 0; i < count; ++i) {
    if (!statement.bind(static_cast<int>(i) + 1, pkgIds[first + i])) return false;
  }
  return statement.run();
}

}  // namespace

bool SoftwarePkgFileTable::dbCreateTable() {
  std::string sql = kCreate;
  if (DBManage::getDBManage()->executeSql(sql) != SQLITE_OK) return false;
  for (const char* index : kIndexes) {
    sql = index;
    DBManage::getDBManage()->executeSql(sql);
  }
  return true;
}

bool SoftwarePkgFileTable::dbAddPkgFile(DP_PKG_FILE_S& row) { return dbAddPkgFiles({row}) == 1; }

std::size_t SoftwarePkgFileTable::dbAddPkgFiles(const std::vector<DP_PKG_FILE_S>& rows) {
  if (rows.empty()) return 0;
  TableStatement statement(kAdd);
  std::size_t added = 0;
  for (const DP_PKG_FILE_S& row : rows) {
    const bool done = statement.bindTexts({&row.id, &row.env_id, &row.pkg_id}) &&
                      statement.bind(4, row.pkg_file_collect_time) &&
                      statement.bind(5, row.pkg_file_path) && statement.run();
    if (!done) break;
    ++added;
  }
  return added;
}

bool SoftwarePkgFileTable::dbDelPkgFileByPkgId(std::string& pkgId) {
  return deleteFilesOf({pkgId}, 0, 1);
}

bool SoftwarePkgFileTable::dbDelPkgFilesByPkgIds(const std::vector<std::string>& pkgIds) {
  for (std::size_t first = 0; first < pkgIds.size(); first += kDeletedAtOnce) {
    if (!deleteFilesOf(pkgIds, first, std::min(kDeletedAtOnce, pkgIds.size() - first)))
      return false;
  }
  return true;
}

bool SoftwarePkgFileTable::dbDelPkgFileByEnvId(std::string& envId) {
  TableStatement statement(kDeleteByEnv);
  return statement.bindTexts({&envId}) && statement.run();
}

bool SoftwarePkgFileTable::dbQueryFile(const std::string& path, const std::string& envId,
                                       DP_PKG_FILE_S& row) {
  return lookupFile(path, envId, row) == Lookup::Found;
}

SoftwarePkgFileTable::Lookup SoftwarePkgFileTable::lookupFile(const std::string& path,
                                                              const std::string& envId,
                                                              DP_PKG_FILE_S& row) {
  TableStatement statement(kQuery);
  if (!statement.bindTexts({&path, &envId}) ||
      !statement.columnsAre({"id", "env_id", "pkg_id", "pkg_file_collect_time", "pkg_file_path"})) {
    return Lookup::Failed;
  }
  if (!statement.nextRow()) return statement.finished() ? Lookup::Missing : Lookup::Failed;
  row = {statement.text(0), statement.text(1), statement.text(2), statement.number(3),
         statement.text(4)};
  return Lookup::Found;
}

bool SoftwarePkgFileTable::dbGetPkgFileEnvList(std::vector<std::string>& envIds) {
  TableStatement statement(kEnvironments);
  while (statement.nextRow()) envIds.push_back(statement.text(0));
  return statement.finished();
}

}  // namespace LedgoraCollect
