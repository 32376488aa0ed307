#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

// How host functions are written: Lua reports an error by a long jump, which
// runs no destructor. So a function checks its arguments first, before it
// makes any object, and reports failures as results (nil and a text). Lua's
// own failure for want of memory never unwinds: the interpreter ends there.

namespace LedgoraCollect {

/// The argument at `index` as text; an error of the script if it is none.
inline std::string_view textArgument(lua_State* state, int index) {
  std::size_t size = 0;
  const char* text = luaL_checklstring(state, index, &size);
  return {text, size};
}

inline void pushText(lua_State* state, std::string_view text) {
  lua_pushlstring(state, text.data(), text.size());
}

/// Sets a member of the table on top of the stack.
inline void setText(lua_State* state, const char* key, std::string_view text) {
  pushText(state, text);
  lua_setfield(state, -2, key);
}

inline void setNumber(lua_State* state, const char* key, lua_Integer number) {
  lua_pushinteger(state, number);
  lua_setfield(state, -2, key);
}

/// The results of a host function that failed: nil and why.
inline int failure(lua_State* state, std::string_view reason) {
  lua_pushnil(state);
  pushText(state, reason);
  return 2;
}

/// Makes a host function of `Body`: an exception becomes an error of the script.
template <int (*Body)(lua_State*)>
int hostFunction(lua_State* state) {
  char reason[256];
  try {
    return Body(state);
  } catch (const std::exception& stopped) {
    std::snprintf(reason, sizeof reason, "%s", stopped.what());
  }
  return luaL_error(state, "%s", reason);
}

/// Each adds its functions to the table "host" on top of the stack.
void addFileFunctions(lua_State* state);
void addJsonFunctions(lua_State* state);
void addDatabaseFunctions(lua_State* state);
void addProcessFunctions(lua_State* state);
void addApartFunctions(lua_State* state);
void addArchiveFunctions(lua_State* state);
void addRunFunctions(lua_State* state);

}  // namespace LedgoraCollect
