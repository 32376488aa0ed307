// host.encode and host.decode. An object's members are written in the order
// of the list "keys" in its metatable (host.record makes one), and any others
// behind them in byte order; a table with the metatable host.array, or with an
// element [1], is an array.
#include <algorithm>
#include <cmath>
#include <vector>

#include "common/support/Handles.h"
#include "common/support/JsonLayer.h"
#include "script/LuaStack.h"

namespace LedgoraCollect {
namespace {

constexpr int kMaximumDepth = 64;
constexpr const char* kArrayMetatable = "ledgora.array";

JsonHandle valueOf(lua_State* state, int index, int depth);

bool isArray(lua_State* state, int index) {
  if (lua_getmetatable(state, index)) {
    luaL_getmetatable(state, kArrayMetatable);
    const bool same = lua_rawequal(state, -1, -2) != 0;
    lua_pop(state, 2);
    if (same) return true;
  }
  return lua_rawlen(state, index) > 0;
}

JsonHandle arrayOf(lua_State* state, int index, int depth) {
  JsonHandle array(cJSON_CreateArray());
  const lua_Unsigned count = lua_rawlen(state, index);
  for (lua_Unsigned position = 1; position <= count; ++position) {
    lua_rawgeti(state, index, static_cast<lua_Integer>(position));
    JsonHandle element = valueOf(state, lua_gettop(state), depth);
    lua_pop(state, 1);
    if (element) cJSON_AddItemToArray(array.get(), element.release());
  }
  return array;
}

std::vector<std::string> listedKeys(lua_State* state, int index) {
  std::vector<std::string> keys;
  if (!luaL_getmetafield(state, index, "keys")) return keys;
  const lua_Unsigned count = lua_istable(state, -1) ? lua_rawlen(state, -1) : 0;
  for (lua_Unsigned position = 1; position <= count; ++position) {
    if (lua_rawgeti(state, -1, static_cast<lua_Integer>(position)) == LUA_TSTRING) {
      keys.emplace_back(lua_tostring(state, -1));
    }
    lua_pop(state, 1);
  }
  lua_pop(state, 1);
  return keys;
}

std::vector<std::string> keysInOrder(lua_State* state, int index) {
  std::vector<std::string> keys = listedKeys(state, index);
  std::vector<std::string> others;
  for (lua_pushnil(state); lua_next(state, index) != 0; lua_pop(state, 1)) {
    if (lua_type(state, -2) != LUA_TSTRING) continue;
    const std::string key = lua_tostring(state, -2);
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) others.push_back(key);
  }
  std::sort(others.begin(), others.end());
  keys.insert(keys.end(), others.begin(), others.end());
  return keys;
}

JsonHandle objectOf(lua_State* state, int index, int depth) {
  JsonHandle object(cJSON_CreateObject());
  for (const std::string& key : keysInOrder(state, index)) {
    pushText(state, key);
    lua_rawget(state, index);
    JsonHandle member = valueOf(state, lua_gettop(state), depth);
    lua_pop(state, 1);
    if (member) cJSON_AddItemToObject(object.get(), key.c_str(), member.release());
  }
  return object;
}

/// Null for what JSON has no form for, and for nil: such members are left out.
JsonHandle valueOf(lua_State* state, int index, int depth) {
  switch (lua_type(state, index)) {
    case LUA_TSTRING:
      return JsonHandle(cJSON_CreateString2(lua_tostring(state, index), nullptr));
    case LUA_TNUMBER:
      return JsonHandle(cJSON_CreateNumber2(nullptr, lua_tonumber(state, index)));
    case LUA_TBOOLEAN:
      return JsonHandle(cJSON_CreateBool2(lua_toboolean(state, index), nullptr));
    case LUA_TTABLE:
      if (depth >= kMaximumDepth || !lua_checkstack(state, 8)) return nullptr;
      return isArray(state, index) ? arrayOf(state, index, depth + 1)
                                   : objectOf(state, index, depth + 1);
    default:
      return nullptr;
  }
}

/// host.encode(value) -> text | nil, why
int encode(lua_State* state) {
  luaL_checkany(state, 1);
  const JsonHandle value = valueOf(state, 1, 0);
  if (!value) return failure(state, "no JSON value");
  const MallocText text(printJsonDocument(value.get()));
  if (!text) return failure(state, "can't be printed");
  pushText(state, text.get());
  return 1;
}

void pushJson(lua_State* state, const cJSON* value, int depth);

void pushMembers(lua_State* state, const cJSON* value, int depth) {
  lua_newtable(state);
  lua_Integer position = 0;
  for (const cJSON* member = value->child; member; member = member->next) {
    pushJson(state, member, depth + 1);
    if (cJSON_IsArray(value)) {
      lua_rawseti(state, -2, ++position);
    } else {
      lua_setfield(state, -2, member->string);
    }
  }
  if (cJSON_IsArray(value)) luaL_setmetatable(state, kArrayMetatable);
}

void pushNumber(lua_State* state, double number) {
  if (std::floor(number) == number && std::fabs(number) < 9007199254740992.0) {
    lua_pushinteger(state, static_cast<lua_Integer>(number));
  } else {
    lua_pushnumber(state, number);
  }
}

/// A null, and what nests deeper than we go, is false, so that an array keeps its positions.
void pushJson(lua_State* state, const cJSON* value, int depth) {
  if (cJSON_IsString(value)) {
    pushText(state, value->valuestring);
  } else if (cJSON_IsNumber(value)) {
    pushNumber(state, value->valuedouble);
  } else if ((cJSON_IsArray(value) || cJSON_IsObject(value)) && depth < kMaximumDepth &&
             lua_checkstack(state, 8)) {
    pushMembers(state, value, depth);
  } else {
    lua_pushboolean(state, cJSON_IsTrue(value));
  }
}

/// host.decode(text) -> value | nil, why
int decode(lua_State* state) {
  const std::string_view text = textArgument(state, 1);
  const JsonHandle value(cJSON_ParseWithLength(text.data(), text.size()));
  if (!value) return failure(state, "no JSON text");
  pushJson(state, value.get(), 0);
  return 1;
}

/// host.record(keys) -> a metatable for objects with these members in this order
int makeRecord(lua_State* state) {
  luaL_checktype(state, 1, LUA_TTABLE);
  lua_newtable(state);
  lua_pushvalue(state, 1);
  lua_setfield(state, -2, "keys");
  return 1;
}

/// host.array([table]) -> the table, an array also when it is empty
int makeArray(lua_State* state) {
  if (lua_isnoneornil(state, 1)) {
    lua_settop(state, 0);
    lua_newtable(state);
  }
  luaL_checktype(state, 1, LUA_TTABLE);
  lua_settop(state, 1);
  luaL_setmetatable(state, kArrayMetatable);
  return 1;
}

constexpr luaL_Reg kFunctions[] = {
    {"encode", hostFunction<encode>},
    {"decode", hostFunction<decode>},
    {"record", hostFunction<makeRecord>},
    {"array", hostFunction<makeArray>},
    {nullptr, nullptr},
};

}  // namespace

void addJsonFunctions(lua_State* state) {
  luaL_newmetatable(state, kArrayMetatable);
  lua_pop(state, 1);
  luaL_setfuncs(state, kFunctions, 0);
}

}  // namespace LedgoraCollect
