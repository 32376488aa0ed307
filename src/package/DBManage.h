#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <string>

#include "common/support/StateDatabase.h"

namespace LedgoraCollect {

/// The package tables' connection to "hoststate.db". The software tables of
/// the same file have a connection of their own; the two share nothing.
class DBManage {
 public:
  /// The one instance, closed at exit. Every call tries init() again, so that
  /// a connection that couldn't be made is tried by the next caller. Never null.
  static DBManage* getDBManage();

  /// Opens the database and prepares the transaction statements, once. On any
  /// failure everything is closed again.
  void init();
  /// Finalises the statements and closes the connection. Always 1.
  int unInit();

  /// Writes the database's path into `buf` of `len` bytes and makes its
  /// directory if it is missing. False if neither can be done.
  bool getDbPath(char* buf, std::size_t len);

  /// Opens and configures the connection: 0, an SQLite code, or 1 without a
  /// path. While another run commits, it is tried again for up to a second.
  int openDb();
  /// Closes the connection, finalising what is still prepared on it.
  void closeDb();
  /// Prepares begin, commit and rollback, in this order: 0 or an SQLite code.
  int createStmts();
  void destroyStmts();

  /// Each 0 when done, else 1 (no connection) or an SQLite code. The begin is
  /// immediate: a second writer fails here and not in the middle of an update.
  int beginTransactoion();
  int commitTransaction();
  int rollbackTransaction();
  /// True while a transaction is open on the connection. SQLite may end one by
  /// itself, for instance when the disk is full.
  bool inTransaction() const;

  /// A prepared statement, to be freed with freeStmt; null on failure.
  sqlite3_stmt* getStmt(const std::string& sql);
  void freeStmt(sqlite3_stmt* statement);

  /// Runs a prepared statement that returns no rows and makes it ready for
  /// another use: 0, 1 for a null statement, or the code of the step.
  int executeSql(sqlite3_stmt* statement);
  /// Runs a text, once more if the database was busy: 0 or an SQLite code.
  int executeSql(sqlite3* db, std::string& sql);
  int executeSql(std::string& sql);

  /// Empties or drops a table: 0 or an SQLite code.
  int cleanDbTableData(const char* table);
  int dropDbTable(const char* table);

  DBManage(const DBManage&) = delete;
  DBManage& operator=(const DBManage&) = delete;

 private:
  DBManage();
  ~DBManage();

  bool mInited = false;
  StateDatabase mDatabase;  ///< the connection and the three transaction statements
};

}  // namespace LedgoraCollect
