#include "package/SoftwarePkgEnvTable.h"

#include "common/support/Log.h"
#include "package/DBManage.h"
#include "package/TableStatement.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kCreate =
    "create table if not exists  \"software_pkg_env\" (\n  \"id\" text NOT NULL,\n  \"pkg_env\" "
    "TEXT,\n"
    "  \"container_id\" TEXT,\n  \"pkg_collect_time\" integer,\n  PRIMARY KEY (\"id\")\n);";
constexpr const char* kDelete = "delete FROM software_pkg_env WHERE id = ?";
constexpr const char* kUpdate =
    "REPLACE INTO software_pkg_env (id, pkg_env, container_id, pkg_collect_time) VALUES (?, ?, ?, "
    "?)";
constexpr const char* kLoad = "select * from software_pkg_env;";

}  // namespace

bool SoftwarePkgEnvTable::dbCreateTable() {
  std::string sql = kCreate;
  return DBManage::getDBManage()->executeSql(sql) == SQLITE_OK;
}

bool SoftwarePkgEnvTable::dbDelPkgEnv(std::string& id) {
  TableStatement statement(kDelete);
  return statement.bindTexts({&id}) && statement.run();
}

bool SoftwarePkgEnvTable::dbUpdatePkgEnv(DB_PKG_ENV_S& row) {
  TableStatement statement(kUpdate);
  if (!statement.prepared()) return false;
  if (!statement.bindTexts({&row.id, &row.pkg_env, &row.container_id}) ||
      !statement.bind(4, row.pkg_collect_time)) {
    error_output(0, __func__, __LINE__, "Cannot bind values for pkg %s", row.pkg_env.c_str());
    return false;
  }
  return statement.run();
}

bool SoftwarePkgEnvTable::dbLoadEnv(std::map<std::string, DB_PKG_ENV_S>& rows) {
  TableStatement statement(kLoad);
  if (!statement.prepared()) {
    error_output(0, __func__, __LINE__, "Failed to prepare statement: %s", kLoad);
    return false;
  }
  if (!statement.columnsAre({"id", "pkg_env", "container_id", "pkg_collect_time"})) return false;
  while (statement.nextRow()) {
    const std::string id = statement.text(0);
    rows[id] = {id, statement.text(1), statement.text(2), statement.number(3)};
  }
  return statement.finished();
}

}  // namespace LedgoraCollect
