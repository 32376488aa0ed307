#pragma once

#include <string>
#include <vector>

struct lua_State;

namespace LedgoraCollect {

/// A Lua interpreter for the installation's scripts. A script has Lua's own
/// libraries but io, os, debug and loaders of machine code, and the table
/// "host" for everything outside (docs/scripts.md); require() finds modules in
/// the script's own folder only. One interpreter is one thread.
class ScriptInterpreter {
 public:
  ScriptInterpreter();
  ~ScriptInterpreter();
  ScriptInterpreter(const ScriptInterpreter&) = delete;
  ScriptInterpreter& operator=(const ScriptInterpreter&) = delete;

  /// Runs the script with its arguments in "arg" and "...". False with
  /// `error` set (with a traceback) if it can't be loaded or fails.
  bool run(const std::string& script, const std::vector<std::string>& arguments,
           std::string& error);

 private:
  void openLibraries();
  void searchModulesIn(const std::string& directory);
  void setArguments(const std::string& script, const std::vector<std::string>& arguments);

  lua_State* mState;
};

}  // namespace LedgoraCollect
