#include "package/SoftwarePkgInfoTable.h"

#include "package/DBManage.h"
#include "package/TableStatement.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kCreate =
    "CREATE TABLE if not exists  \"software_pkg_info\" (\n  \"id\" text NOT NULL,\n"
    "  \"pkg_env_id\" text,\n  \"pkg_name\" TEXT NOT NULL,\n  \"pkg_version\" TEXT,\n"
    "  \"pkg_install_time\" integer,\n  \"pkg_size\" TEXT,\n  \"pkg_desp\" TEXT,\n"
    "  \"pkg_type\" TEXT,\n  \"pkg_cfg_files\" TEXT,\n  \"pkg_key\" TEXT,\n  PRIMARY KEY "
    "(\"id\")\n);";
// Without a guard against an index that exists, as in the file table.
constexpr const char* kIndexes[] = {
    "CREATE INDEX pkg_info_env_id ON software_pkg_info (pkg_env_id);",
    "CREATE INDEX pkg_info_id ON software_pkg_info (id);",
};
constexpr const char* kAdd =
    "REPLACE INTO software_pkg_info (id, pkg_env_id, pkg_name, pkg_version, pkg_install_time, "
    "pkg_size, pkg_desp,pkg_type, pkg_cfg_files,pkg_key) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
constexpr const char* kQueryById = "SELECT * FROM software_pkg_info WHERE id = ?";
constexpr const char* kQueryByEnv = "SELECT * FROM software_pkg_info where pkg_env_id = ?";
constexpr const char* kDelete = "delete FROM software_pkg_info WHERE id = ?";
constexpr const char* kDeleteByEnv = "delete FROM software_pkg_info WHERE pkg_env_id = ?";
constexpr const char* kEnvironments = "select DISTINCT(pkg_env_id) from software_pkg_info";

/// The columns in their order: rows are read by number.
bool fitsLayout(TableStatement& statement) {
  return statement.columnsAre({"id", "pkg_env_id", "pkg_name", "pkg_version", "pkg_install_time",
                               "pkg_size", "pkg_desp", "pkg_type", "pkg_cfg_files", "pkg_key"});
}

DB_PKG_INFO_S readRow(TableStatement& statement) {
  return {statement.text(0), statement.text(1), statement.text(2), statement.text(3),
          statement.text(4), statement.text(5), statement.text(6), statement.text(7),
          statement.text(8), statement.text(9)};
}

}  // namespace

bool SoftwarePkgInfoTable::dbCreateTable() {
  std::string sql = kCreate;
  if (DBManage::getDBManage()->executeSql(sql) != SQLITE_OK) return false;
  for (const char* index : kIndexes) {
    sql = index;
    DBManage::getDBManage()->executeSql(sql);
  }
  return true;
}

bool SoftwarePkgInfoTable::dbQueryPkgByID(std::string& id, DB_PKG_INFO_S& row) {
  TableStatement statement(kQueryById);
  if (!statement.bindTexts({&id}) || !fitsLayout(statement)) return false;
  if (!statement.nextRow()) {
    statement.finished();  // logs a failure; a missing row needs no message
    return false;
  }
  row = readRow(statement);
  return true;
}

bool SoftwarePkgInfoTable::dbAddPkgInfo(DB_PKG_INFO_S& row) {
  TableStatement statement(kAdd);
  return statement.bindTexts({&row.id, &row.pkg_env_id, &row.pkg_name, &row.pkg_version,
                              &row.pkg_install_time, &row.pkg_size, &row.pkg_desp, &row.pkg_type,
                              &row.pkg_cfg_files, &row.pkg_key}) &&
         statement.run();
}

bool SoftwarePkgInfoTable::dbDelPkgInfoByPkgId(std::string& id) {
  TableStatement statement(kDelete);
  return statement.bindTexts({&id}) && statement.run();
}

bool SoftwarePkgInfoTable::dbDelPkgInfoByEnvId(std::string& envId) {
  TableStatement statement(kDeleteByEnv);
  return statement.bindTexts({&envId}) && statement.run();
}

bool SoftwarePkgInfoTable::dbGetPkgInfoEnvList(std::vector<std::string>& envIds) {
  TableStatement statement(kEnvironments);
  while (statement.nextRow()) envIds.push_back(statement.text(0));
  return statement.finished();
}

bool SoftwarePkgInfoTable::dbQueryPkgByEnvID(std::string& envId,
                                             std::map<std::string, DB_PKG_INFO_S>& rows) {
  TableStatement statement(kQueryByEnv);
  if (!statement.bindTexts({&envId}) || !fitsLayout(statement)) return false;
  while (statement.nextRow()) {
    DB_PKG_INFO_S row = readRow(statement);
    std::string key = row.pkg_key;
    rows[std::move(key)] = std::move(row);
  }
  return statement.finished();
}

}  // namespace LedgoraCollect
