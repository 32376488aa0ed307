#pragma once

#include <string>
#include <vector>

#include "common/support/CommandRunner.h"

namespace LedgoraCollect {

/// Shell command lines under a time limit, after the filter was asked.
/// timeout and waitStep are whole seconds; environment is one "NAME=value;".
class CmdUtils {
 public:
  /// Output into `buffer` (size bytes with the terminator). True when the
  /// command ran, whatever its exit status. On false, errno may hold the
  /// runner's negative result.
  static bool execCmd(const char* command, char* buffer, int size, int timeout, int waitStep,
                      const char* environment);
  static bool execCmd(const char* command, char* buffer, int size, int timeout, int waitStep,
                      const char* environment, const CommandOptions& options);

  /// Output as lines, empty ones left out; see getExecCmdResult.
  static bool execCmd(const char* command, std::vector<std::string>& lines, int timeout,
                      int waitStep, const char* environment);
  static bool execCmd(const char* command, std::vector<std::string>& lines, int timeout,
                      int waitStep, const char* environment, const CommandOptions& options);

  /// As the line form of execCmd. A command that prints no line is a failure.
  /// `lines` is only assigned when the command ran.
  static bool getExecCmdResult(const char* command, std::vector<std::string>& lines, int timeout,
                               const char* environment, int waitStep);
  static bool getExecCmdResult(const char* command, std::vector<std::string>& lines, int timeout,
                               const char* environment, int waitStep,
                               const CommandOptions& options);

  /// Reads once from `descriptor` and appends the lines that it completes;
  /// `context` is a CommandLines. Returns what read() returned.
  static int readPipeByLine(int descriptor, void* context);
};

/// Buffer form without an environment string, with "unset LD_LIBRARY_PATH; " in
/// front of the line and a grace of 5 seconds.
bool execCmd(const char* command, char* buffer, int size, int timeout);

}  // namespace LedgoraCollect
