// What a script needs to be part of a run: root, log, filter.
#include <algorithm>
#include <cstring>

#include "common/InspectedRoot.h"
#include "common/support/InstallPath.h"
#include "common/support/Log.h"
#include "run/CollectFilter.h"
#include "script/LuaStack.h"

namespace LedgoraCollect {
namespace {

constexpr int kKeptLogs = 5;
constexpr int kDirectoryMode = 0755;

/// host.setroot(directory): the run's root, "" for the machine itself; once
int setRoot(lua_State* state) {
  const std::string_view root = textArgument(state, 1);
  InspectedRoot::setEnvironment(std::string(root));
  return 0;
}

/// host.openlog(directory) -> true | nil, why
int openLog(lua_State* state) {
  const char* directory = luaL_checkstring(state, 1);
  if (dirutils_mkdir(directory, kDirectoryMode) != 0) return failure(state, "no log directory");
  autolog_init(directory, kKeptLogs);
  lua_pushboolean(state, 1);
  return 1;
}

/// host.log(level, message)
int log(lua_State* state) {
  const lua_Integer level = luaL_checkinteger(state, 1);
  const std::string_view message = textArgument(state, 2);
  lua_Debug place{};
  if (lua_getstack(state, 1, &place)) lua_getinfo(state, "Sl", &place);
  const char* slash = std::strrchr(place.short_src, '/');
  error_output_text(static_cast<int>(std::clamp<lua_Integer>(level, 0, 3)),
                    slash ? slash + 1 : place.short_src, place.currentline, message);
  return 0;
}

/// host.leftout(name) -> whether the filter leaves out software of that name
int leftOut(lua_State* state) {
  const std::string_view text = textArgument(state, 1);
  std::string name(text);
  lua_pushboolean(state, CollectFilter::getInstance()->filterSoft(name));
  return 1;
}

/// host.forbidden(type) -> whether the filter forbids the type
int forbidden(lua_State* state) {
  const auto type = static_cast<int>(luaL_checkinteger(state, 1));
  lua_pushboolean(state, CollectFilter::getInstance()->filterCollectType(type));
  return 1;
}

constexpr luaL_Reg kFunctions[] = {
    {"setroot", hostFunction<setRoot>},
    {"openlog", hostFunction<openLog>},
    {"log", hostFunction<log>},
    {"leftout", hostFunction<leftOut>},
    {"forbidden", hostFunction<forbidden>},
    {nullptr, nullptr},
};

}  // namespace

void addRunFunctions(lua_State* state) { luaL_setfuncs(state, kFunctions, 0); }

}  // namespace LedgoraCollect
