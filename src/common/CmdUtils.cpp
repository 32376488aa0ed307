#include "common/CmdUtils.h"

#include <unistd.h>

#include <cerrno>

#include "common/CommandLines.h"
#include "common/support/Log.h"
#include "run/CollectFilter.h"

namespace LedgoraCollect {

namespace {

const char* orEmpty(const char* text) { return text != nullptr ? text : ""; }

CommandRequest makeRequest(const char* command, const char* environment, int timeout, int waitStep,
                           const CommandOptions& options) {
  CommandRequest request;
  request.command = command;
  request.environment = orEmpty(environment);
  request.timeoutSeconds = timeout;
  request.waitStepSeconds = waitStep;
  request.options = options;
  return request;
}

bool isForbidden(const char* command) {
  if (!CollectFilter::getInstance()->filterCmd(command)) return false;
  error_output(1, "execCmd", __LINE__, "execute cmd:%s is forbidden by filter!", command);
  return true;
}

/// Callers read the runner's negative result out of errno, sign and all.
bool failWith(int result) {
  errno = result;
  return false;
}

}  // namespace

bool CmdUtils::execCmd(const char* command, char* buffer, int size, int timeout, int waitStep,
                       const char* environment) {
  return execCmd(command, buffer, size, timeout, waitStep, environment, CommandOptions{});
}

bool CmdUtils::execCmd(const char* command, char* buffer, int size, int timeout, int waitStep,
                       const char* environment, const CommandOptions& options) {
  if (command == nullptr || buffer == nullptr || size <= 0) return false;
  if (isForbidden(command)) return false;
  error_output(2, __func__, __LINE__, "execute cmd:%s, env:%s", command, orEmpty(environment));
  const int ret = runCommandIntoBuffer(
      makeRequest(command, environment, timeout, waitStep, options), buffer, size);
  LEDGORA_DEBUG("exec cmdline: %s, env: %s,out:%s,ret:%d", command, orEmpty(environment), buffer,
                ret);
  buffer[size - 1] = '\0';
  if (ret >= 0) return true;
  error_output(1, __func__, __LINE__, " exec cmdline %s error, ret = %d, retData %s", command, ret,
               buffer);
  return failWith(ret);
}

bool CmdUtils::execCmd(const char* command, std::vector<std::string>& lines, int timeout,
                       int waitStep, const char* environment) {
  return getExecCmdResult(command, lines, timeout, environment, waitStep);
}

bool CmdUtils::execCmd(const char* command, std::vector<std::string>& lines, int timeout,
                       int waitStep, const char* environment, const CommandOptions& options) {
  return getExecCmdResult(command, lines, timeout, environment, waitStep, options);
}

bool CmdUtils::getExecCmdResult(const char* command, std::vector<std::string>& lines, int timeout,
                                const char* environment, int waitStep) {
  return getExecCmdResult(command, lines, timeout, environment, waitStep, CommandOptions{});
}

bool CmdUtils::getExecCmdResult(const char* command, std::vector<std::string>& lines, int timeout,
                                const char* environment, int waitStep,
                                const CommandOptions& options) {
  if (command == nullptr) {
    error_output(1, __func__, __LINE__, "cmdLine is empty");
    return false;
  }
  // Unlike the buffer form, the line is logged before the filter is asked.
  error_output(2, __func__, __LINE__, "execute cmd:%s, env:%s", command, orEmpty(environment));
  if (isForbidden(command)) return false;
  CommandLines output;
  CommandRequest request = makeRequest(command, environment, timeout, waitStep, options);
  request.reader = readPipeByLine;
  request.context = &output;
  const int ret = runCommand(request);
  if (ret < 0) {
    error_output(1, __func__, __LINE__, "exec cmdLine %s error, ret = %d", command, ret);
    return failWith(ret);
  }
  output.finish();
  lines = std::move(output.lines);
  if (!lines.empty()) return true;
  // No line is a failure in this form, though the command ran.
  error_output(1, __func__, __LINE__, "exec cmdLine %s error, size = %zd", command,
               static_cast<ssize_t>(lines.size()));
  return false;
}

int CmdUtils::readPipeByLine(int descriptor, void* context) {
  char piece[4095];
  const ssize_t count = ::read(descriptor, piece, sizeof piece);
  if (count > 0) {
    static_cast<CommandLines*>(context)->append({piece, static_cast<std::size_t>(count)});
  }
  return static_cast<int>(count);
}

bool execCmd(const char* command, char* buffer, int size, int timeout) {
  if (command == nullptr || buffer == nullptr || size < 1) return false;
  if (CollectFilter::getInstance()->filterCmd(command)) {
    error_output(1, __func__, __LINE__, " exec cmdline %s forbidden!", command);
    return false;
  }
  constexpr int kWaitStepSeconds = 5;
  const std::string line = std::string("unset LD_LIBRARY_PATH; ") + command;
  const int ret = execute_plus(line.c_str(), buffer, size, timeout, kWaitStepSeconds);
  buffer[size - 1] = '\0';
  if (ret >= 0) return true;
  error_output(1, __func__, __LINE__, " exec cmdline %s error, ret = %d, retData %s", line.c_str(),
               ret, buffer);
  return false;
}

}  // namespace LedgoraCollect
