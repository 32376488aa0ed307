#include "common/support/StateDatabase.h"

#include <unistd.h>

#include <chrono>

#include "common/support/BoundedString.h"
#include "common/support/DatabaseFile.h"
#include "common/support/InstallPath.h"
#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kDataDirectory = "@/../var/data";
constexpr const char* kDatabaseName = "hoststate.db";
constexpr int kDirectoryMode = 0755;
constexpr std::size_t kDirectoryBytes = 4096;
constexpr std::size_t kPathBytes = 1024;
constexpr std::size_t kTableTextBytes = 1024;

// Both waits are short by decision: a database that another run holds costs
// this run little, and the answer is then absent rather than late.
constexpr int kBusyMilliseconds = 30;
constexpr int kRetryMilliseconds = 10;

constexpr struct {
  const char* name;
  int value;
  const char* what;
} kPragmas[] = {
    {"pragma cache_size", 8000, "cache size"},
    {"pragma busy_timeout", kBusyMilliseconds, "busy time out"},
};

/// What the whole process may spend on waiting for another run to let the
/// database go at the opening. Without the budget, a database that stays
/// locked would cost this at every single question.
class OpeningBudget {
 public:
  /// Sleeps a little; false when the budget is used up.
  bool wait() {
    if (exhausted()) return false;
    usleep(kStepMicroseconds);
    mSpentMicroseconds += kStepMicroseconds;
    return true;
  }
  bool exhausted() const { return mSpentMicroseconds >= kLimitMicroseconds; }
  void charge(std::chrono::steady_clock::duration time) {
    mSpentMicroseconds += std::chrono::duration_cast<std::chrono::microseconds>(time).count();
  }

 private:
  static constexpr long kStepMicroseconds = 20000;
  static constexpr long kLimitMicroseconds = 1000000;
  long mSpentMicroseconds = 0;
};

OpeningBudget& openingBudget() {
  static OpeningBudget budget;
  return budget;
}

int executeOnce(sqlite3* db, const std::string& sql, std::string& failure) {
  char* message = nullptr;
  const int result = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
  failure = message != nullptr ? message : "";
  sqlite3_free(message);
  return result;
}

int executeOnTable(sqlite3* db, const char* tag, const char* text, const char* verb,
                   const char* table) {
  if (db == nullptr || table == nullptr) return SQLITE_MISUSE;
  const std::string sql = std::string(text) + table;
  if (sql.size() >= kTableTextBytes) return SQLITE_TOOBIG;
  std::string failure;
  const int result = executeOnce(db, sql, failure);
  if (result != SQLITE_OK) {
    error_output(0, __func__, __LINE__,
                 "%ssqlite3_exec %s %s table data failed with error msg = %s", tag, verb, table,
                 failure.c_str());
  }
  return result;
}

}  // namespace

StateDatabase::~StateDatabase() {
  destroyStmts();
  closeDb();
}

bool StateDatabase::getDbPath(char* buffer, std::size_t size) const {
  char directory[kDirectoryBytes] = {};
  dirutils_path_transform(kDataDirectory, directory, sizeof(directory));
  if (directory[0] == '\0') return false;
  if (access(directory, F_OK) != 0 && dirutils_mkdir(directory, kDirectoryMode) != 0) {
    error_output(0, __func__, __LINE__, "%sFailed to create db path %s", mTag, directory);
    return false;
  }
  const int length = str_snprintf(buffer, size, "%s/%s", directory, kDatabaseName);
  return length > 0 && static_cast<std::size_t>(length) < size;
}

int StateDatabase::openOnce(const char* path, std::string& failure) {
  const int opened =
      sqlite3_open_v2(path, &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  if (opened != SQLITE_OK) {
    failure =
        "open database[" + std::string(path) + "] failed with ret = " + std::to_string(opened);
    return opened;
  }
  LEDGORA_DEBUG("%sopen database[%s] with ret = %d", mTag, path, opened);
  // The pragmas themselves read the file, so they need the wait already.
  sqlite3_busy_timeout(mDb, openingBudget().exhausted() ? 0 : kBusyMilliseconds);
  for (const auto& pragma : kPragmas) {
    char text[64] = {};
    str_snprintf(text, sizeof(text), "%s = %d;", pragma.name, pragma.value);
    std::string reason;
    const int result = executeOnce(mDb, text, reason);
    if (result != SQLITE_OK) {
      failure =
          std::string("sqlite3_exec set ") + pragma.what + " failed with error msg = " + reason;
      return result;
    }
  }
  return SQLITE_OK;
}

int StateDatabase::openDb() {
  if (mDb != nullptr) return SQLITE_OK;
  char path[kPathBytes] = {};
  if (!getDbPath(path, sizeof(path))) {
    error_output(0, __func__, __LINE__, "%sget db path failed ", mTag);
    return 1;
  }
  LEDGORA_DEBUG("%sthis DB PATH IS :%s .", mTag, path);
  if (!prepareDatabaseFile(path)) return SQLITE_CANTOPEN;
  sqlite3_initialize();
  std::string failure;
  int result = SQLITE_OK;
  do {
    closeDb();
    const auto start = std::chrono::steady_clock::now();
    result = openOnce(path, failure);
    if (result == SQLITE_BUSY) openingBudget().charge(std::chrono::steady_clock::now() - start);
  } while (result == SQLITE_BUSY && openingBudget().wait());
  if (result != SQLITE_OK) error_output(0, __func__, __LINE__, "%s%s", mTag, failure.c_str());
  return result;
}

void StateDatabase::closeDb() {
  if (mDb == nullptr) return;
  int result = sqlite3_close(mDb);
  if (result == SQLITE_BUSY) {
    while (sqlite3_stmt* statement = sqlite3_next_stmt(mDb, nullptr)) {
      sqlite3_reset(statement);
      sqlite3_finalize(statement);
    }
    result = sqlite3_close(mDb);
  }
  if (result == SQLITE_OK) mDb = nullptr;
}

int StateDatabase::createStmts() {
  const struct {
    const char* sql;
    sqlite3_stmt** statement;
  } statements[] = {
      {"begin immediate;", &mBeginStmt},
      {"commit;", &mCommitStmt},
      {"rollback;", &mRollbackStmt},
  };
  for (const auto& each : statements) {
    const int result = sqlite3_prepare_v2(mDb, each.sql, -1, each.statement, nullptr);
    if (result != SQLITE_OK) {
      error_output(0, __func__, __LINE__, "%ssqlite3_prepare_v2 failed with error msg = %s", mTag,
                   sqlite3_errmsg(mDb));
      return result;
    }
  }
  return SQLITE_OK;
}

void StateDatabase::destroyStmts() {
  for (sqlite3_stmt** statement : {&mBeginStmt, &mCommitStmt, &mRollbackStmt}) {
    sqlite3_finalize(*statement);
    *statement = nullptr;
  }
}

int StateDatabase::runTransactionStatement(sqlite3_stmt* statement) {
  if (mDb == nullptr || statement == nullptr) return 1;
  sqlite3_reset(statement);
  const int result = sqlite3_step(statement);
  sqlite3_reset(statement);
  return result == SQLITE_DONE ? SQLITE_OK : result;
}

int StateDatabase::execute(sqlite3* db, const std::string& sql, std::string& failure) {
  if (db == nullptr) return 1;
  const int result = executeOnce(db, sql, failure);
  if (result != SQLITE_BUSY) return result;
  sqlite3_busy_timeout(db, kRetryMilliseconds);
  return executeOnce(db, sql, failure);
}

int StateDatabase::cleanTable(sqlite3* db, const char* tag, const char* table) {
  return executeOnTable(db, tag, "delete from ", "clean", table);
}

int StateDatabase::dropTable(sqlite3* db, const char* tag, const char* table) {
  return executeOnTable(db, tag, "drop table if exists ", "drop", table);
}

}  // namespace LedgoraCollect
