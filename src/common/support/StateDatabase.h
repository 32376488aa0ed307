#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <string>

namespace LedgoraCollect {

/// One connection to "hoststate.db", the state that outlives a run. The
/// software tables and the package tables each have a connection of their own;
/// two connections share nothing.
class StateDatabase {
 public:
  /// `tag` stands in front of every message of this connection.
  explicit StateDatabase(const char* tag) : mTag(tag) {}
  ~StateDatabase();
  StateDatabase(const StateDatabase&) = delete;
  StateDatabase& operator=(const StateDatabase&) = delete;

  sqlite3* handle() const { return mDb; }

  /// Writes the database's path into `buffer` of `size` bytes and makes its
  /// directory if it is missing. False if neither can be done.
  bool getDbPath(char* buffer, std::size_t size) const;
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
  int beginTransaction() { return runTransactionStatement(mBeginStmt); }
  int commitTransaction() { return runTransactionStatement(mCommitStmt); }
  int rollbackTransaction() { return runTransactionStatement(mRollbackStmt); }

  /// Runs a text, once more with a short wait if the database was busy: 0 or
  /// an SQLite code, and then `failure` has SQLite's own words.
  static int execute(sqlite3* db, const std::string& sql, std::string& failure);
  /// Empties or drops a table: 0 or an SQLite code, with a message.
  static int cleanTable(sqlite3* db, const char* tag, const char* table);
  static int dropTable(sqlite3* db, const char* tag, const char* table);

 private:
  int openOnce(const char* path, std::string& failure);
  int runTransactionStatement(sqlite3_stmt* statement);

  const char* mTag;
  sqlite3* mDb = nullptr;
  sqlite3_stmt* mBeginStmt = nullptr;
  sqlite3_stmt* mCommitStmt = nullptr;
  sqlite3_stmt* mRollbackStmt = nullptr;
};

}  // namespace LedgoraCollect
