#include "software/StateTable.h"

#include <memory>
#include <string_view>

#include "common/support/BoundedString.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "common/support/StateDatabase.h"

namespace LedgoraCollect {
namespace {

// Longer queries are cut at this size.
constexpr std::size_t kQueryBytes = 1024;
constexpr const char* kNoTag = "";
constexpr int kRetryMilliseconds = 10;

using Statement = std::unique_ptr<sqlite3_stmt, Releaser<sqlite3_finalize>>;

int stepOnce(sqlite3_stmt* statement) {
  const int result = sqlite3_step(statement);
  sqlite3_reset(statement);
  return result == SQLITE_DONE ? SQLITE_OK : result;
}

/// False, with the reason in `result` if it is SQLite's, unless the table's
/// columns are those of the layout in its order.
bool hasLayout(sqlite3* db, const TableLayout& layout, int& result) {
  const std::string query = std::string("select * from ") + layout.name;
  sqlite3_stmt* prepared = nullptr;
  result = sqlite3_prepare_v2(db, query.c_str(), -1, &prepared, nullptr);
  const Statement statement(prepared);
  if (result != SQLITE_OK) return false;
  if (sqlite3_column_count(prepared) != static_cast<int>(layout.columnCount)) return false;
  for (std::size_t i = 0; i < layout.columnCount; ++i) {
    if (std::string_view(layout.columns[i]) != sqlite3_column_name(prepared, static_cast<int>(i))) {
      return false;
    }
  }
  return true;
}

}  // namespace

int executeSql(sqlite3* db, std::string& sql) {
  std::string failure;
  const int result = StateDatabase::execute(db, sql, failure);
  if (result != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "execute sql failed with error msg:%s", failure.c_str());
  }
  return result;
}

int createStmt(sqlite3* db, std::string& sql, sqlite3_stmt** statement) {
  return sqlite3_prepare_v2(db, sql.c_str(), -1, statement, nullptr);
}

int cleanDbTableData(sqlite3* db, const char* table) {
  return StateDatabase::cleanTable(db, kNoTag, table);
}

int dropDbTable(sqlite3* db, const char* table) {
  return StateDatabase::dropTable(db, kNoTag, table);
}

int bindText(sqlite3_stmt* statement, int parameter, const std::string& text) {
  return sqlite3_bind_text(statement, parameter, text.c_str(), static_cast<int>(text.size()),
                           SQLITE_STATIC);
}

void readColumn(sqlite3_stmt* statement, int column, std::string& out) {
  const unsigned char* text = sqlite3_column_text(statement, column);
  if (text != nullptr) out = reinterpret_cast<const char*>(text);
}

int runInsertion(sqlite3_stmt* statement, int bindResult) {
  if (bindResult != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "sqlite3_bind data failed");
    sqlite3_clear_bindings(statement);
    sqlite3_reset(statement);
    return bindResult;
  }
  const int result = sqlite3_step(statement);
  sqlite3_clear_bindings(statement);
  sqlite3_reset(statement);
  return result == SQLITE_DONE ? SQLITE_OK : result;
}

int createTableAndInsertion(sqlite3* db, const TableLayout& layout, sqlite3_stmt** statement) {
  std::string create = std::string("create table if not exists ") + layout.name + layout.definition;
  int result = executeSql(db, create);
  if (result == SQLITE_OK && !hasLayout(db, layout, result) && result == SQLITE_OK) {
    result = SQLITE_SCHEMA;
  }
  if (result != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "create %s table failed", layout.name);
    return result;
  }
  std::string insert = std::string("replace into ") + layout.name + layout.insertion;
  result = createStmt(db, insert, statement);
  if (result != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "create %s table insert stmt failed", layout.name);
  }
  return result;
}

int initTable(sqlite3* db, const TableLayout& layout, sqlite3_stmt** statement) {
  const int result = createTableAndInsertion(db, layout, statement);
  if (result == SQLITE_OK || result == SQLITE_BUSY || result == SQLITE_LOCKED) return result;
  dropDbTable(db, layout.name);
  return createTableAndInsertion(db, layout, statement);
}

int executeBound(sqlite3* db, const char* sql, std::initializer_list<const std::string*> texts) {
  sqlite3_stmt* prepared = nullptr;
  int result = sqlite3_prepare_v2(db, sql, -1, &prepared, nullptr);
  const Statement statement(prepared);
  int parameter = 0;
  for (const std::string* text : texts) {
    if (result == SQLITE_OK) result = bindText(prepared, ++parameter, *text);
  }
  if (result == SQLITE_OK) result = stepOnce(prepared);
  if (result == SQLITE_BUSY) {
    sqlite3_busy_timeout(db, kRetryMilliseconds);
    result = stepOnce(prepared);
  }
  if (result != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "execute sql failed with error msg:%s", sqlite3_errmsg(db));
  }
  return result;
}

int selectRows(sqlite3* db, const char* table, const std::string& condition,
               const std::string* value, const std::function<void(sqlite3_stmt*)>& read) {
  char query[kQueryBytes] = {};
  if (condition.empty()) {
    str_snprintf(query, sizeof(query), "select * from %s ", table);
  } else {
    str_snprintf(query, sizeof(query), "select * from %s where %s", table, condition.c_str());
  }
  sqlite3_stmt* prepared = nullptr;
  int result = sqlite3_prepare_v2(db, query, -1, &prepared, nullptr);
  const Statement statement(prepared);
  if (result == SQLITE_OK && value != nullptr) result = bindText(prepared, 1, *value);
  if (result != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "create stmt failed with error code = %d", result);
    return result;
  }
  while ((result = sqlite3_step(prepared)) == SQLITE_ROW) read(prepared);
  return result == SQLITE_DONE ? SQLITE_OK : result;
}

}  // namespace LedgoraCollect
