// host.query: rows of the state database, which scripts only read.
#include <sqlite3.h>

#include <memory>

#include "common/support/Handles.h"
#include "common/support/InstallPath.h"
#include "script/LuaStack.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kDatabase = "@/../var/data/hoststate.db";
constexpr int kBusyMilliseconds = 1000;  // another run may just commit
constexpr lua_Integer kMaximumRows = 100000;

using Connection = std::unique_ptr<sqlite3, Releaser<sqlite3_close>>;
using Statement = std::unique_ptr<sqlite3_stmt, Releaser<sqlite3_finalize>>;

Connection openReadOnly(std::string& reason) {
  sqlite3* opened = nullptr;
  const int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_NOFOLLOW;
  const int code = sqlite3_open_v2(installPath(kDatabase).c_str(), &opened, flags, nullptr);
  Connection connection(opened);
  if (code != SQLITE_OK) {
    reason = opened ? sqlite3_errmsg(opened) : "no memory";
    connection.reset();
  } else {
    sqlite3_busy_timeout(opened, kBusyMilliseconds);
  }
  return connection;
}

void pushColumn(lua_State* state, sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  const int bytes = sqlite3_column_bytes(statement, column);
  pushText(state, text ? std::string_view(text, static_cast<std::size_t>(bytes)) : "");
}

void pushRow(lua_State* state, sqlite3_stmt* statement) {
  const int columns = sqlite3_column_count(statement);
  lua_createtable(state, 0, columns);
  for (int column = 0; column < columns; ++column) {
    pushColumn(state, statement, column);
    lua_setfield(state, -2, sqlite3_column_name(statement, column));
  }
}

/// host.query(sql, texts...) -> rows, each a table of texts by column (a NULL
/// is empty); the texts are bound to the parameters | nil, why
int query(lua_State* state) {
  const std::string_view sql = textArgument(state, 1);
  const int arguments = lua_gettop(state);
  for (int index = 2; index <= arguments; ++index) luaL_checkstring(state, index);
  std::string reason;
  const Connection connection = openReadOnly(reason);
  if (!connection) return failure(state, reason);
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v2(connection.get(), sql.data(), static_cast<int>(sql.size()),
                                      &prepared, nullptr);
  const Statement statement(prepared);
  if (code != SQLITE_OK || !statement) return failure(state, sqlite3_errmsg(connection.get()));
  for (int index = 2; index <= arguments; ++index) {
    sqlite3_bind_text(statement.get(), index - 1, lua_tostring(state, index), -1, SQLITE_TRANSIENT);
  }
  lua_newtable(state);
  lua_Integer row = 0;
  int step = SQLITE_ROW;
  while (row < kMaximumRows && (step = sqlite3_step(statement.get())) == SQLITE_ROW) {
    pushRow(state, statement.get());
    lua_rawseti(state, -2, ++row);
  }
  if (step != SQLITE_ROW && step != SQLITE_DONE) {
    return failure(state, sqlite3_errmsg(connection.get()));
  }
  return 1;
}

constexpr luaL_Reg kFunctions[] = {{"query", hostFunction<query>}, {nullptr, nullptr}};

}  // namespace

void addDatabaseFunctions(lua_State* state) { luaL_setfuncs(state, kFunctions, 0); }

}  // namespace LedgoraCollect
