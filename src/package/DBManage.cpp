#include "package/DBManage.h"

#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kTag = "[DB_MNG]";

}  // namespace

DBManage::DBManage() : mDatabase(kTag) {}

DBManage::~DBManage() {
  if (mInited) unInit();
}

DBManage* DBManage::getDBManage() {
  static DBManage instance;
  instance.init();
  return &instance;
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

bool DBManage::getDbPath(char* buf, std::size_t len) { return mDatabase.getDbPath(buf, len); }

int DBManage::openDb() { return mDatabase.openDb(); }
void DBManage::closeDb() { mDatabase.closeDb(); }
int DBManage::createStmts() { return mDatabase.createStmts(); }
void DBManage::destroyStmts() { mDatabase.destroyStmts(); }

int DBManage::beginTransactoion() { return mDatabase.beginTransaction(); }
int DBManage::commitTransaction() { return mDatabase.commitTransaction(); }
int DBManage::rollbackTransaction() { return mDatabase.rollbackTransaction(); }

bool DBManage::inTransaction() const {
  return mDatabase.handle() != nullptr && sqlite3_get_autocommit(mDatabase.handle()) == 0;
}

sqlite3_stmt* DBManage::getStmt(const std::string& sql) {
  sqlite3* db = mDatabase.handle();
  sqlite3_stmt* statement = nullptr;
  if (db == nullptr || sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "[DB_MNG]Cannot prepare statement: %s",
                 db == nullptr ? "no connection" : sqlite3_errmsg(db));
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
  std::string failure;
  const int result = StateDatabase::execute(db, sql, failure);
  if (result != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "[DB_MNG]execute sql %s failed with error msg:%s",
                 sql.c_str(), failure.c_str());
  }
  return result;
}

int DBManage::executeSql(std::string& sql) { return executeSql(mDatabase.handle(), sql); }

int DBManage::cleanDbTableData(const char* table) {
  return StateDatabase::cleanTable(mDatabase.handle(), kTag, table);
}

int DBManage::dropDbTable(const char* table) {
  return StateDatabase::dropTable(mDatabase.handle(), kTag, table);
}

}  // namespace LedgoraCollect
