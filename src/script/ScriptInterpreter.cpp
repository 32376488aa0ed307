#include "script/ScriptInterpreter.h"

#include <unistd.h>

#include <cstdlib>

#include "common/support/Log.h"
#include "script/LuaStack.h"

namespace LedgoraCollect {
namespace {

constexpr std::size_t kMemoryBytes = std::size_t{256} << 20;
constexpr int kOutOfMemoryStatus = 3;

std::size_t usedBytes = 0;  // by the one interpreter of this process

// Ends the program instead of letting Lua unwind: see LuaStack.h. The document
// is written last, so nothing of it is left half done.
[[noreturn]] void endForWantOfMemory() {
  error_output(0, __func__, __LINE__, "script needs more than %zu MiB", kMemoryBytes >> 20);
  std::fputs("lloader: the script needs too much memory\n", stderr);
  _exit(kOutOfMemoryStatus);
}

void* allocate(void*, void* block, std::size_t before, std::size_t size) {
  if (!block) before = 0;  // then it is the kind of object
  if (size == 0) {
    std::free(block);
    usedBytes -= before;
    return nullptr;
  }
  if (size > before && usedBytes + (size - before) > kMemoryBytes) endForWantOfMemory();
  void* grown = std::realloc(block, size);
  if (!grown) endForWantOfMemory();
  usedBytes += size - before;
  return grown;
}

int addTraceback(lua_State* state) {
  const char* message = lua_tostring(state, 1);
  luaL_traceback(state, state, message ? message : "error without a text", 1);
  return 1;
}

constexpr luaL_Reg kLibraries[] = {
    {LUA_GNAME, luaopen_base},          {LUA_LOADLIBNAME, luaopen_package},
    {LUA_COLIBNAME, luaopen_coroutine}, {LUA_TABLIBNAME, luaopen_table},
    {LUA_STRLIBNAME, luaopen_string},   {LUA_MATHLIBNAME, luaopen_math},
    {LUA_UTF8LIBNAME, luaopen_utf8},
};

// What would read files without the care for links, or load machine code.
constexpr const char* kWithheld[] = {"dofile", "loadfile"};

}  // namespace

ScriptInterpreter::ScriptInterpreter() : mState(lua_newstate(allocate, nullptr)) {
  openLibraries();
}

ScriptInterpreter::~ScriptInterpreter() { lua_close(mState); }

void ScriptInterpreter::openLibraries() {
  for (const luaL_Reg& library : kLibraries) {
    luaL_requiref(mState, library.name, library.func, 1);
    lua_pop(mState, 1);
  }
  for (const char* name : kWithheld) {
    lua_pushnil(mState);
    lua_setglobal(mState, name);
  }
  lua_newtable(mState);
  addFileFunctions(mState);
  addJsonFunctions(mState);
  addDatabaseFunctions(mState);
  addProcessFunctions(mState);
  addApartFunctions(mState);
  addArchiveFunctions(mState);
  addRunFunctions(mState);
  lua_setglobal(mState, "host");
}

// Not the current directory and not LUA_PATH: only the script's own folder.
void ScriptInterpreter::searchModulesIn(const std::string& directory) {
  lua_getglobal(mState, LUA_LOADLIBNAME);
  setText(mState, "path", directory + "/?.lua");
  setText(mState, "cpath", "");
  lua_pushnil(mState);
  lua_setfield(mState, -2, "loadlib");
  lua_pop(mState, 1);
}

void ScriptInterpreter::setArguments(const std::string& script,
                                     const std::vector<std::string>& arguments) {
  lua_newtable(mState);
  pushText(mState, script);
  lua_rawseti(mState, -2, 0);
  lua_Integer position = 0;
  for (const std::string& argument : arguments) {
    pushText(mState, argument);
    lua_rawseti(mState, -2, ++position);
  }
  lua_setglobal(mState, "arg");
}

bool ScriptInterpreter::run(const std::string& script, const std::vector<std::string>& arguments,
                            std::string& error) {
  const std::size_t slash = script.rfind('/');
  searchModulesIn(slash == std::string::npos ? "." : script.substr(0, slash));
  setArguments(script, arguments);
  lua_pushcfunction(mState, addTraceback);
  const int handler = lua_gettop(mState);
  int status = luaL_loadfilex(mState, script.c_str(), "t");
  if (status == LUA_OK) {
    luaL_checkstack(mState, static_cast<int>(arguments.size()) + 1, nullptr);
    for (const std::string& argument : arguments) pushText(mState, argument);
    status = lua_pcall(mState, static_cast<int>(arguments.size()), 0, handler);
  }
  if (status != LUA_OK) {
    const char* text = lua_tostring(mState, -1);
    error = text ? text : "unknown error";
  }
  lua_settop(mState, 0);
  return status == LUA_OK;
}

}  // namespace LedgoraCollect
