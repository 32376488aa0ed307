#pragma once

#include <cstdint>

#include "common/support/CommandIdentity.h"

namespace LedgoraCollect {

/// Milliseconds of the monotonic clock.
std::int64_t monotonicMs();

/// How long killed processes may take to be gone before they are left to init.
constexpr std::int64_t kEndWaitMs = 5000;

/// What the guard reports. The first report counts.
struct GuardReport_S {
  int result;      // as runCommand's
  int startError;  // errno of what kept the shell from starting
  int leftBehind;  // processes that hang in the kernel in spite of SIGKILL
};

/// What the guard works on; made ready before the fork. All descriptors are
/// above 2 and close on exec.
struct GuardTask_S {
  const char* command;
  char* const* environment;
  const CommandIdentity* identity;  // or null
  std::int64_t timeoutMs;
  std::int64_t waitStepMs;
  int output;   // the command's standard output
  int report;   // takes GuardReport_S
  int control;  // at its end (the tool is gone or gave up) the command is ended
  int nowhere;  // /dev/null
};

/// The life of the guard: a forked child of the tool, and the parent of the
/// shell. Being alone with the command it can take every process that reaches it
/// for the command's, so that a descendant that left its group or session is found
/// and the tool's other children stay out of it; and it outlives a killed tool for
/// as long as it takes to end the command. Must be entered with all signals blocked.
[[noreturn]] void guardCommand(const GuardTask_S& task);

}  // namespace LedgoraCollect
