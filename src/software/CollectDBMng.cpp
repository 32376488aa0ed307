#include "software/CollectDBMng.h"

#include <new>

#include "common/support/Log.h"
#include "software/StateTable.h"

namespace LedgoraCollect {

bool CollectDBMng::init() {
  if (mInitialised) return true;
  if (openDb() != SQLITE_OK) return giveUp("open db failed ");
  if (createStmts() != SQLITE_OK) return giveUp("create stmt failed ");
  if (dbTablesInit() != SQLITE_OK) return giveUp("dbTablesInit failed ");
  mInitialised = true;
  return true;
}

bool CollectDBMng::giveUp(const char* message) {
  error_output_text(0, "init", __LINE__, message);
  unInit();
  return false;
}

bool CollectDBMng::unInit() {
  LEDGORA_DEBUG("enter db uninit");
  mSoftTable.reset();
  mPackageTable.reset();
  destroyStmts();
  closeDb();
  mInitialised = false;
  LEDGORA_DEBUG("end db uninit");
  return true;
}

int CollectDBMng::openDb() { return mDatabase.openDb(); }
void CollectDBMng::closeDb() { mDatabase.closeDb(); }
int CollectDBMng::createStmts() { return mDatabase.createStmts(); }
void CollectDBMng::destroyStmts() { mDatabase.destroyStmts(); }

int CollectDBMng::dbTablesInit() {
  mSoftTable.reset(new (std::nothrow) CollectDBSoft(connection()));
  mPackageTable.reset(new (std::nothrow) CollectDbPkg(connection()));
  if (!mSoftTable || !mPackageTable) {
    error_output(0, __func__, __LINE__, "new table obj failed memory ");
    return mSoftTable ? SQLITE_OK : 1;
  }
  const int soft = mSoftTable->init();
  if (soft != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "Create Table %s failed with iRet = %d", "software_cache",
                 soft);
  }
  const int package = mPackageTable->init();
  if (package != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "Create Table %s failed with iRet = %d", "pkg_cache",
                 package);
  }
  return SQLITE_OK;
}

int CollectDBMng::querySoftTableData(std::vector<_SOFT_TABLE_DATA>& rows,
                                     const std::string& condition, const std::string* value) {
  return mSoftTable ? mSoftTable->queryTableData(rows, condition, value) : 1;
}

int CollectDBMng::queryPkgTableData(std::vector<PKG_TABLE_DATA_S>& rows,
                                    const std::string& condition) {
  return mPackageTable ? mPackageTable->queryTableData(rows, condition) : 1;
}

int CollectDBMng::updateSoftData(_SOFT_TABLE_DATA& row) {
  return mSoftTable ? mSoftTable->insertRecord(row) : 1;
}

int CollectDBMng::insertPkgData(PKG_TABLE_DATA_S& row) {
  return mPackageTable ? mPackageTable->insertRecord(row) : 1;
}

int CollectDBMng::abandonTransaction() {
  if (rollbackTransaction() != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "rollbackTransaction failed");
  }
  return 1;
}

int CollectDBMng::endTransaction() {
  if (commitTransaction() == SQLITE_OK) return SQLITE_OK;
  error_output(0, __func__, __LINE__, "commitTransaction failed");
  return abandonTransaction();
}

int CollectDBMng::commitSoftwareAddData(std::vector<_SOFT_TABLE_DATA>& rows) {
  if (beginTransactoion() != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "beginTransactoion failed");
    return abandonTransaction();
  }
  for (_SOFT_TABLE_DATA& row : rows) {
    const int result = updateSoftData(row);
    if (result != SQLITE_OK) {
      error_output(0, __func__, __LINE__, "soft(%s) insert failed with err code %d",
                   row.appName.c_str(), result);
    }
  }
  return endTransaction();
}

int CollectDBMng::commitPkgAddData(std::vector<PKG_TABLE_DATA_S>& rows) {
  if (beginTransactoion() != SQLITE_OK) {
    error_output(0, __func__, __LINE__, "begin transactoion failed");
    return abandonTransaction();
  }
  for (PKG_TABLE_DATA_S& row : rows) {
    const int result = insertPkgData(row);
    if (result != SQLITE_OK) {
      error_output(0, __func__, __LINE__, "pkg (%s) insert failed with err code %d",
                   row.name.c_str(), result);
    }
  }
  return endTransaction();
}

bool CollectDBMng::cleanTableData(TABLE_TYPE type) {
  switch (type) {
    case TABLE_SOFTWARE_CACHE:
      return mSoftTable && mSoftTable->cleanTableData() == SQLITE_OK;
    case TABLE_PKG_CACHE:
      return mPackageTable && mPackageTable->cleanTableData() == SQLITE_OK;
  }
  return false;
}

int CollectDBMng::executeSql(std::string& sql) {
  return connection() == nullptr ? 1 : LedgoraCollect::executeSql(connection(), sql);
}

int CollectDBMng::beginTransactoion() { return mDatabase.beginTransaction(); }
int CollectDBMng::commitTransaction() { return mDatabase.commitTransaction(); }
int CollectDBMng::rollbackTransaction() { return mDatabase.rollbackTransaction(); }

}  // namespace LedgoraCollect
