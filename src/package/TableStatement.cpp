#include "package/TableStatement.h"

#include <strings.h>

#include "common/support/Log.h"
#include "package/DBManage.h"

namespace LedgoraCollect {

TableStatement::TableStatement(const char* sql)
    : mStatement(DBManage::getDBManage()->getStmt(sql)) {}

// Without a statement there may be no connection either, and asking for the
// instance would try to open one again.
TableStatement::~TableStatement() {
  if (prepared()) DBManage::getDBManage()->freeStmt(mStatement);
}

bool TableStatement::bind(int parameter, const std::string& text) {
  return sqlite3_bind_text(mStatement, parameter, text.c_str(), -1, SQLITE_STATIC) == SQLITE_OK;
}

bool TableStatement::bind(int parameter, std::int64_t number) {
  return sqlite3_bind_int64(mStatement, parameter, number) == SQLITE_OK;
}

bool TableStatement::bindTexts(std::initializer_list<const std::string*> texts) {
  int parameter = 0;
  for (const std::string* each : texts) {
    if (!bind(++parameter, *each)) return false;
  }
  return prepared();
}

bool TableStatement::run() {
  return prepared() && DBManage::getDBManage()->executeSql(mStatement) == SQLITE_OK;
}

bool TableStatement::nextRow() {
  if (!prepared()) return false;
  mLastStep = sqlite3_step(mStatement);
  return mLastStep == SQLITE_ROW;
}

bool TableStatement::finished() {
  if (!prepared()) return false;
  if (mLastStep == SQLITE_DONE) return true;
  error_output(0, __func__, __LINE__, "[DB_MNG]reading rows failed with error msg:%s",
               sqlite3_errmsg(sqlite3_db_handle(mStatement)));
  return false;
}

bool TableStatement::columnsAre(std::initializer_list<const char*> names) {
  if (!prepared()) return false;
  int index = 0;
  for (const char* name : names) {
    const char* found = sqlite3_column_name(mStatement, index);
    if (index >= sqlite3_column_count(mStatement) || found == nullptr ||
        strcasecmp(found, name) != 0) {
      error_output(0, __func__, __LINE__,
                   "[DB_MNG]a table has another layout: column %d is %s, not %s", index,
                   found != nullptr ? found : "missing", name);
      return false;
    }
    ++index;
  }
  return true;
}

std::string TableStatement::text(int index) {
  const unsigned char* found = sqlite3_column_text(mStatement, index);
  return found != nullptr ? reinterpret_cast<const char*>(found) : "";
}

std::int64_t TableStatement::number(int index) { return sqlite3_column_int64(mStatement, index); }

}  // namespace LedgoraCollect
