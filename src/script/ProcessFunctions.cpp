// host.processes and the commands: asked by the program's own collectors, so
// filter, time limits, roots and rights are the same.
#include <map>
#include <vector>

#include "collect/CollectProcessInfo.h"
#include "common/CommandWord.h"
#include "common/InspectedRoot.h"
#include "hostmodel/CmdCollectionUnit.h"
#include "script/LuaStack.h"

namespace LedgoraCollect {
namespace {

constexpr int kOutputBytes = 1 << 20;
constexpr int kTimeoutSeconds = 30;
constexpr int kGraceSeconds = 5;

void pushProcess(lua_State* state, const PROC_EX_INFO_S& process) {
  lua_createtable(state, 0, 12);
  setNumber(state, "pid", process.pid);
  setNumber(state, "parent", process.parentId);
  setNumber(state, "started", process.startTime);
  setText(state, "name", process.name);
  setText(state, "path", process.path);
  setText(state, "user", process.userName);
  setText(state, "language", process.interpreter.language);
  setText(state, "container", process.container.containerId);
  setText(state, "container_type", process.container.containerType);
  setText(state, "container_root", process.container.containerPath);
}

/// host.processes() -> the processes of the run's root | nil, why
int processes(lua_State* state) {
  CollectProcessInfo collector;
  collector.setEnv(InspectedRoot::environment());
  std::map<int, PROC_EX_INFO_S> found;
  if (!collector.parseProcessesInfo(found)) return failure(state, "no process list");
  lua_createtable(state, static_cast<int>(found.size()), 0);
  lua_Integer position = 0;
  for (const auto& [pid, process] : found) {
    pushProcess(state, process);
    lua_rawseti(state, -2, ++position);
  }
  return 1;
}

/// Runs the line of argument 1 in the run's root and the container root of
/// argument 2 (empty: none), as the process of argument 3 if that isn't 0.
int command(lua_State* state) {
  const std::string_view line = textArgument(state, 1);
  const char* target = luaL_optstring(state, 2, "");
  const auto pid = static_cast<int>(luaL_optinteger(state, 3, 0));
  CmdCollectionUnit unit;
  unit.setEnvironment(InspectedRoot::environment());
  unit.setTarget(target);
  std::vector<char> output(kOutputBytes, '\0');
  const std::string text(line);
  const bool ran = pid != 0 ? unit.executeCmdAsProcess(pid, text, output.data(), kOutputBytes,
                                                       kTimeoutSeconds, kGraceSeconds, nullptr)
                            : unit.executeCmd(text, output.data(), kOutputBytes, kTimeoutSeconds,
                                              kGraceSeconds, nullptr);
  if (!ran) return failure(state, "didn't run");
  pushText(state, output.data());
  return 1;
}

/// host.word(value) -> whether a value of the machine may stand unquoted in a
/// command line; a refusal is logged
int word(lua_State* state) {
  const std::string_view value = textArgument(state, 1);
  lua_pushboolean(state, acceptCommandWord(value, CommandPlace::Unquoted, "script"));
  return 1;
}

constexpr luaL_Reg kFunctions[] = {
    {"processes", hostFunction<processes>},
    {"command", hostFunction<command>},
    {"word", hostFunction<word>},
    {nullptr, nullptr},
};

}  // namespace

void addProcessFunctions(lua_State* state) { luaL_setfuncs(state, kFunctions, 0); }

}  // namespace LedgoraCollect
