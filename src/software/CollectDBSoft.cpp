#include "software/CollectDBSoft.h"

#include <iterator>

#include "common/support/Log.h"
#include "software/StateTable.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kColumns[] = {
    "app_user",     "admin_permission", "start_time",     "collect_time", "path",
    "install_path", "app_version",      "app_tag",        "docker_id",    "docker_path",
    "docker_type",  "pkg_info",         "app_env",        "pid",          "process_key",
    "language",     "app_name",         "app_type",       "app_conf",     "app_extend",
    "app_id",       "app_source",       "collect_status", "extra",        "install_time",
    "major_pid",    "sub_pid"};

constexpr TableLayout kLayout = {
    "software_cache",
    "(                                 app_user varchar(260),"
    "                                admin_permission integer(8),"
    "                                start_time integer(8),"
    "                                collect_time integer(8),"
    "                                path varchar text,"
    "                                install_path varchar text,"
    "                                app_version varchar(64),"
    "                                app_tag text,"
    "                                docker_id varchar text,"
    "                                docker_path varchar text,"
    "                                docker_type varchar text,"
    "                                pkg_info text,"
    "                                app_env varchar(520),"
    "                                pid  varchar(200),"
    "                                process_key  text,"
    "                                language varchar(100),"
    "                                app_name varchar(64),"
    "                                app_type varchar(32),"
    "                                app_conf  text,"
    "                                app_extend text,"
    "                                app_id  text,"
    "                                app_source integer(8),"
    "                                collect_status integer,"
    "                                extra text,"
    "                                 install_time varchar(32),"
    "                                major_pid integer(8),"
    "                                sub_pid  text,"
    "                                PRIMARY KEY (\"process_key\"))",
    "(app_user, admin_permission, start_time, collect_time, path, install_path, app_version,"
    " app_tag, docker_id,docker_path,docker_type,\t\t\t\t\tpkg_info, app_env, pid,"
    " process_key, language, app_name, app_type, app_conf,app_extend,app_id,app_source,"
    " collect_status,extra, install_time,major_pid, sub_pid)\t\t\t\t\tvalues(?, ?, ?, ?, ?,"
    " ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
    kColumns,
    std::size(kColumns),
};

// Text fields with their parameter in the insertion and, where the program
// reads them back, their column in the table (-1: written only).
constexpr struct {
  std::string _SOFT_TABLE_DATA::*field;
  int parameter;
  int column;
} kTexts[] = {
    {&_SOFT_TABLE_DATA::appUser, 1, 0},       {&_SOFT_TABLE_DATA::path, 5, 4},
    {&_SOFT_TABLE_DATA::installPath, 6, 5},   {&_SOFT_TABLE_DATA::appVersion, 7, 6},
    {&_SOFT_TABLE_DATA::appTag, 8, 7},        {&_SOFT_TABLE_DATA::dockerId, 9, -1},
    {&_SOFT_TABLE_DATA::dockerPath, 10, -1},  {&_SOFT_TABLE_DATA::dockerType, 11, -1},
    {&_SOFT_TABLE_DATA::pkgInfo, 12, 11},     {&_SOFT_TABLE_DATA::appEnv, 13, 12},
    {&_SOFT_TABLE_DATA::pid, 14, -1},         {&_SOFT_TABLE_DATA::processKey, 15, 14},
    {&_SOFT_TABLE_DATA::language, 16, -1},    {&_SOFT_TABLE_DATA::appName, 17, 16},
    {&_SOFT_TABLE_DATA::appType, 18, 17},     {&_SOFT_TABLE_DATA::appConf, 19, 18},
    {&_SOFT_TABLE_DATA::appExtend, 20, 19},   {&_SOFT_TABLE_DATA::appId, 21, 20},
    {&_SOFT_TABLE_DATA::installTime, 25, 24}, {&_SOFT_TABLE_DATA::subPid, 27, -1},
};

constexpr struct {
  int _SOFT_TABLE_DATA::*field;
  int parameter;
  int column;
} kNumbers[] = {
    {&_SOFT_TABLE_DATA::adminPermission, 2, -1},
    {&_SOFT_TABLE_DATA::appSource, 22, 21},
    {&_SOFT_TABLE_DATA::collectStatus, 23, 22},
    {&_SOFT_TABLE_DATA::majorPid, 26, -1},
};

constexpr struct {
  long long _SOFT_TABLE_DATA::*field;
  int parameter;
  int column;
} kTimes[] = {
    {&_SOFT_TABLE_DATA::startTime, 3, 2},
    {&_SOFT_TABLE_DATA::collectTime, 4, 3},
};

}  // namespace

int CollectDBSoft::init() { return initTable(mDb, kLayout, &mInsertStmt); }

void CollectDBSoft::unInit() {
  sqlite3_finalize(mInsertStmt);
  mInsertStmt = nullptr;
}

int CollectDBSoft::createTable() {
  unInit();
  return createTableAndInsertion(mDb, kLayout, &mInsertStmt);
}

int CollectDBSoft::dropTable() { return dropDbTable(mDb, kLayout.name); }

int CollectDBSoft::cleanTableData() { return cleanDbTableData(mDb, kLayout.name); }

// Parameter 24, "extra", is left unbound on purpose: the column is always
// NULL, and consumers of the file rely on it.
int CollectDBSoft::insertRecord(const _SOFT_TABLE_DATA& row) {
  if (mInsertStmt == nullptr) return SQLITE_ERROR;
  int bound = SQLITE_OK;
  for (const auto& text : kTexts) bound |= bindText(mInsertStmt, text.parameter, row.*text.field);
  for (const auto& number : kNumbers) {
    bound |= sqlite3_bind_int(mInsertStmt, number.parameter, row.*number.field);
  }
  for (const auto& time : kTimes) {
    bound |= sqlite3_bind_int64(mInsertStmt, time.parameter, row.*time.field);
  }
  return runInsertion(mInsertStmt, bound);
}

void CollectDBSoft::getRowData(sqlite3_stmt* statement, _SOFT_TABLE_DATA& row) {
  for (const auto& text : kTexts) {
    if (text.column >= 0) readColumn(statement, text.column, row.*text.field);
  }
  for (const auto& number : kNumbers) {
    if (number.column >= 0) row.*number.field = sqlite3_column_int(statement, number.column);
  }
  for (const auto& time : kTimes) row.*time.field = sqlite3_column_int64(statement, time.column);
}

int CollectDBSoft::queryTableData(std::vector<_SOFT_TABLE_DATA>& rows, const std::string& condition,
                                  const std::string* value) {
  return selectRows(mDb, kLayout.name, condition, value, [&](sqlite3_stmt* statement) {
    rows.emplace_back();
    getRowData(statement, rows.back());
  });
}

}  // namespace LedgoraCollect
