#pragma once

#include <string>

#include "common/support/CommandIdentity.h"

namespace LedgoraCollect {

/// Results of the runners. Other negative values are our own failures, as
/// negative errno (no pipe, no memory, a reader that failed).
constexpr int kCommandRan = 0;            ///< whatever its exit status
constexpr int kCommandNotStarted = -104;  ///< no process, no shell, identity refused
constexpr int kCommandStopped = -110;     ///< still ran at its limit

/// Called when output can be read: reads once from `descriptor` (which doesn't
/// block) and returns what read() returned, with its errno. 0 ends the calls.
using CommandReader = int (*)(int descriptor, void* context);

/// Which variables of the tool's own environment a command gets besides the
/// one that the environment string sets.
enum class CommandVariables {
  Inherited,  ///< all
  Own,        ///< only LEDGORA_START_TIME and LANG: for commands in a root
};

/// What a command runs under beyond its line, environment string and limits.
struct CommandOptions {
  CommandVariables variables = CommandVariables::Inherited;
  /// Rights to take on before the shell starts; null keeps the tool's.
  const CommandIdentity* identity = nullptr;
};

/// One command. The runners below are shorthands for this form.
struct CommandRequest {
  std::string command;      ///< for /bin/sh -c
  std::string environment;  ///< "NAME=value;": one name, the value may hold ";"
  int timeoutSeconds = 0;   ///< limit on a monotonic clock; below 1: stopped at once
  int waitStepSeconds = 0;  ///< grace between SIGTERM at the limit and SIGKILL
  CommandReader reader = nullptr;
  void* context = nullptr;
  CommandOptions options;
};

/// Runs the command: /bin/sh -c in a session and process group of its own, in
/// "/", standard input and error at /dev/null, no other descriptor, default
/// signals. Returns when the shell has ended and every descendant is ended and
/// reaped, whatever session it moved to, at the latest when limit and grace are
/// over. Should the tool die meanwhile, the command is ended too.
/// Children that aren't descendants of the command are not touched.
int runCommand(const CommandRequest& request);

/// As runCommand, with the output in `out`: at most size - 1 bytes and a
/// terminator. What doesn't fit is read and dropped.
int runCommandIntoBuffer(CommandRequest request, char* out, int size);

/// Standard output of `command` goes into `out`. Limits in seconds.
int execute_plus(const char* command, char* out, int size, int timeout, int waitStep);

/// As execute_plus, with an environment string ("NAME=value;", null or empty:
/// none). `reserved` is 0.
int execute_plus_env_cv_loop(const char* environment, const char* command, char* out, int size,
                             int timeout, int waitStep, int reserved);

/// Gives the output to `callback` as it comes.
int execute_plus_cb(const char* command, int timeout, int waitStep, CommandReader callback,
                    void* context, const char* environment);

}  // namespace LedgoraCollect
