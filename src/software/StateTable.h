#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>

namespace LedgoraCollect {

// What the tables of the state database share. Results are SQLite codes, 0 on
// success.

/// Runs a text, once more if the database was busy.
int executeSql(sqlite3* db, std::string& sql);
/// Prepares one statement.
int createStmt(sqlite3* db, std::string& sql, sqlite3_stmt** statement);
int cleanDbTableData(sqlite3* db, const char* table);
int dropDbTable(sqlite3* db, const char* table);

/// Binds text as it is in the record, which must outlive the statement's run.
int bindText(sqlite3_stmt* statement, int parameter, const std::string& text);
/// Text of a column; a NULL leaves `out` as it is.
void readColumn(sqlite3_stmt* statement, int column, std::string& out);

/// The texts that make a table, and its columns in their order: rows are read
/// by number.
struct TableLayout {
  const char* name;
  const char* definition;
  const char* insertion;
  const char* const* columns;
  std::size_t columnCount;
};

/// Makes the table and its prepared insertion. A table whose columns aren't
/// those of the layout, in its order, is a failure.
int createTableAndInsertion(sqlite3* db, const TableLayout& layout, sqlite3_stmt** statement);

/// The same; a table of another layout is dropped and made anew. One that is
/// only locked by another run isn't.
int initTable(sqlite3* db, const TableLayout& layout, sqlite3_stmt** statement);

/// Steps a bound insertion and makes it ready for the next row.
int runInsertion(sqlite3_stmt* statement, int bindResult);

/// Runs one statement with texts bound to its parameters in order, once more
/// if the database was busy.
int executeBound(sqlite3* db, const char* sql, std::initializer_list<const std::string*> texts);

/// Calls `read` with each row of "select * from TABLE" for which the condition
/// holds (empty: every row). Longer text than 1,023 characters is cut, and then
/// doesn't compile. `value`, if given, is bound to the condition's parameter.
int selectRows(sqlite3* db, const char* table, const std::string& condition,
               const std::string* value, const std::function<void(sqlite3_stmt*)>& read);

}  // namespace LedgoraCollect
