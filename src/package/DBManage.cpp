#include "package/DBManage.h"

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
  const char* failure;
} kPragmas[] = {
    {"pragma cache_size", 8000, "[DB_MNG]sqlite3_exec set cache size failed with error msg = "},
    {"pragma busy_timeout", kBusyMilliseconds,
     "[DB_MNG]sqlite3_exec set busy time out failed with error msg = "},
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

std::string takeMessage(char* message) {
  const std::string text = message != nullptr ? message : "";
  sqlite3_free(message);
  return text;
}

}  // namespace

DBManage* DBManage::getDBManage() {
  static DBManage instance;
  instance.init();
  return &instance;
}

DBManage::~DBManage() {
  if (mInited) unInit();
}

void DBManage::init() {
  if (mInited) return;
  if (openDb() != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "[DB_MNG]open db failed ");
    unInit();
    return;
  }
  if (createStmts() != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "[DB_MNG]create stmt failed ");
    unInit();
    return;
  }
  mInited = true;
}

int DBManage::unInit() {
  LEDGORA_DEBUG("[DB_MNG]enter db uninit");
  destroyStmts();
  closeDb();
  mInited = false;
  LEDGORA_DEBUG("[DB_MNG]end db uninit");
  return 1;
}

bool DBManage::getDbPath(char* buf, std::size_t len) {
  char directory[kDirectoryBytes] = {};
  dirutils_path_transform(kDataDirectory, directory, sizeof(directory));
  if (directory[0] == '\0') return false;
  if (access(directory, F_OK) != 0 && dirutils_mkdir(directory, kDirectoryMode) != 0) {
    error_output(0, __func__, __LINE__, "[DB_MNG]Failed to create db path %s", directory);
    return false;
  }
  const int length = str_snprintf(buf, len, "%s/%s", directory, kDatabaseName);
  return length > 0 && static_cast<std::size_t>(length) < len;
}

int DBManage::openOnce(const char* path, std::string& failure) {
  const int opened =
      sqlite3_open_v2(path, &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  if (opened != SQLITE_OK) {
    failure = "[DB_MNG]open database[" + std::string(path) +
              "] failed with ret = " + std::to_string(opened);
    return opened;
  }
  LEDGORA_DEBUG("[DB_MNG]open database[%s] with ret = %d", path, opened);
  // The pragmas themselves read the file, so they need the wait already.
  sqlite3_busy_timeout(mDb, openingBudget().exhausted() ? 0 : kBusyMilliseconds);
  for (const auto& pragma : kPragmas) {
    char text[64] = {};
    str_snprintf(text, sizeof(text), "%s = %d;", pragma.name, pragma.value);
    char* message = nullptr;
    const int result = sqlite3_exec(mDb, text, nullptr, nullptr, &message);
    const std::string reason = takeMessage(message);
    if (result != SQLITE_OK) {
      failure = pragma.failure + reason;
      return result;
    }
  }
  return SQLITE_OK;
}

int DBManage::openDb() {
  if (mDb != nullptr) return SQLITE_OK;
  char path[kPathBytes] = {};
  if (!getDbPath(path, sizeof(path))) {
    error_output(0, __func__, __LINE__, "[DB_MNG]get db path failed ");
    return 1;
  }
  LEDGORA_DEBUG("[DB_MNG]this DB PATH IS :%s .", path);
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
  if (result != SQLITE_OK) error_output_text(0, __func__, __LINE__, failure);
  return result;
}

void DBManage::closeDb() {
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

int DBManage::createStmts() {
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
      error_output(0, __func__, __LINE__, "[DB_MNG]sqlite3_prepare_v2 failed with error msg = %s",
                   sqlite3_errmsg(mDb));
      return result;
    }
  }
  return SQLITE_OK;
}

void DBManage::destroyStmts() {
  for (sqlite3_stmt** statement : {&mBeginStmt, &mCommitStmt, &mRollbackStmt}) {
    sqlite3_finalize(*statement);
    *statement = nullptr;
  }
}

int DBManage::runTransactionStatement(sqlite3_stmt* statement) {
  if (mDb == nullptr || statement == nullptr) return 1;
  sqlite3_reset(statement);
  const int result = sqlite3_step(statement);
  sqlite3_reset(statement);
  return result == SQLITE_DONE ? SQLITE_OK : result;
}

int DBManage::beginTransactoion() { return runTransactionStatement(mBeginStmt); }
int DBManage::commitTransaction() { return runTransactionStatement(mCommitStmt); }
int DBManage::rollbackTransaction() { return runTransactionStatement(mRollbackStmt); }

bool DBManage::inTransaction() const { return mDb != nullptr && sqlite3_get_autocommit(mDb) == 0; }

sqlite3_stmt* DBManage::getStmt(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (mDb == nullptr ||
      sqlite3_prepare_v2(mDb, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "[DB_MNG]Cannot prepare statement: %s",
                 mDb == nullptr ? "no connection" : sqlite3_errmsg(mDb));
    return nullptr;
  }
  return statement;
}

void DBManage::freeStmt(sqlite3_stmt* statement) { sqlite3_finalize(statement); }

int DBManage::executeSql(sqlite3_stmt* statement) {
  if (statement == nullptr) return 1;
  const int result = sqlite3_step(statement);
  sqlite3_clear_bindings(statement);
  sqlite3_reset(statement);
  return result == SQLITE_DONE ? SQLITE_OK : result;
}

int DBManage::executeSql(sqlite3* db, std::string& sql) {
  if (db == nullptr) return 1;
  char* message = nullptr;
  int result = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
  std::string reason = takeMessage(message);
  if (result == SQLITE_BUSY) {
    sqlite3_busy_timeout(db, kRetryMilliseconds);
    message = nullptr;
    result = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
    reason = takeMessage(message);
  }
  if (result != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "[DB_MNG]execute sql %s failed with error msg:%s",
                 sql.c_str(), reason.c_str());
  }
  return result;
}

int DBManage::executeSql(std::string& sql) { return executeSql(mDb, sql); }

int DBManage::runTableText(const char* format, const char* table, const char* failure) {
  if (mDb == nullptr || table == nullptr) return SQLITE_MISUSE;
  const std::string sql = std::string(format) + table;
  if (sql.size() >= kTableTextBytes) return SQLITE_TOOBIG;
  char* message = nullptr;
  const int result = sqlite3_exec(mDb, sql.c_str(), nullptr, nullptr, &message);
  const std::string reason = takeMessage(message);
  if (result != SQLITE_OK) {
    error_output_text(0, __func__, __LINE__,
                      std::string("[DB_MNG]sqlite3_exec ") + failure + " " + table +
                          " table data failed with error msg = " + reason);
  }
  return result;
}

int DBManage::cleanDbTableData(const char* table) {
  return runTableText("delete from ", table, "clean");
}

int DBManage::dropDbTable(const char* table) {
  return runTableText("drop table if exists ", table, "drop");
}

}  // namespace LedgoraCollect
