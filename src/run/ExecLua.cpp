#include "run/ExecLua.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "common/support/BoundedString.h"
#include "common/support/CommandRunner.h"
#include "common/support/InstallPath.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

constexpr std::size_t kPathBytes = 256;
constexpr std::size_t kCommandBytes = 1024;
constexpr std::size_t kEnvironmentBytes = 4096;
constexpr int kResultBytes = 16;  // at most 15 characters of the script's output are read
constexpr int kTimeoutSeconds = 3000;
constexpr int kGraceSeconds = 5;
constexpr long kLongestDocument = 0x80000;  // bounds the number reported; the file stays

struct ScriptPaths {
  char script[kPathBytes] = {};
  char runner[kPathBytes] = {};
  char libraries[kPathBytes] = {};
};

/// False if one of the paths doesn't fit; the expansion has told so.
bool expandPaths(ScriptPaths& paths) {
  dirutils_path_transform("@/../scripts/agent_scripts/collect.lua", paths.script, kPathBytes);
  dirutils_path_transform("@/lloader", paths.runner, kPathBytes);
  dirutils_path_transform("@/../lib", paths.libraries, kPathBytes);
  return paths.script[0] != '\0' && paths.runner[0] != '\0' && paths.libraries[0] != '\0';
}

int reportedLength(const char* output) {
  const long length = std::strtol(output, nullptr, 10);
  if (length > kLongestDocument) {
    error_output(0, __func__, __LINE__, "json res:%d len too long, bigger than %d",
                 static_cast<int>(std::min<long>(length, INT_MAX)),
                 static_cast<int>(kLongestDocument));
    return -1;
  }
  return static_cast<int>(std::max<long>(length, INT_MIN));
}

}  // namespace

int execLua(const char* outputPath, const char* logPath, COLLECT_TYPE_E type, const char* env,
            int option) {
  if (!outputPath) return -1;
  ScriptPaths paths;
  if (!expandPaths(paths)) return -1;
  // No argument is quoted: a blank in a path makes two arguments of it. The
  // parent chooses these paths.
  char command[kCommandBytes] = {};
  const int formatted =
      str_snprintf(command, sizeof command, "%s %s %d %s %s %s %d", paths.runner, paths.script,
                   static_cast<int>(type), outputPath, logPath, env, option);
  if (formatted < 0 || static_cast<std::size_t>(formatted) >= sizeof command) {
    error_output(0, __func__, __LINE__, "lua cmd format failed with ret = 0x%08x",
                 static_cast<unsigned int>(formatted));
    return -1;
  }
  error_output(2, __func__, __LINE__, "exec lua cmd line: %s ", command);
  // Unlike all other commands this one gets a library path: the runner loads
  // the installation's own libraries.
  char environment[kEnvironmentBytes] = {};
  str_snprintf(environment, sizeof environment - 1, "LD_LIBRARY_PATH=%s;", paths.libraries);
  char result[kResultBytes] = {};
  const int code = execute_plus_env_cv_loop(environment, command, result, kResultBytes,
                                            kTimeoutSeconds, kGraceSeconds, 0);
  if (code != 0) {
    errno = code;
    error_output(0, __func__, __LINE__, "execute_plus exec failed errorCode:%d", code);
    return -1;
  }
  return reportedLength(result);
}

}  // namespace LedgoraCollect
