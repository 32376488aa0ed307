#include "hostmodel/CmdCollectionUnit.h"

#include <unistd.h>

#include <cstdio>

#include "common/CmdUtils.h"
#include "common/support/InstallPath.h"
#include "common/support/Log.h"
#include "hostmodel/EnvCmdCollectionUnit.h"
#include "hostmodel/ListedProcesses.h"
#include "hostmodel/RootCommandPath.h"

namespace LedgoraCollect {
namespace {

constexpr int kDefaultTimeout = 30;
constexpr int kDefaultWaitStep = 5;
// The "chroot %s " in front of a line has to fit here. A root that doesn't is
// refused: cut, it would be another directory.
constexpr std::size_t kPrefixBytes = 1024;
// Where a system's own programs lie, whatever anybody's PATH says.
constexpr char kTrustedDirectories[] = "/usr/sbin:/usr/bin:/sbin:/bin";

/// A line as it runs: its text, its environment string, and its rights.
struct PreparedLine {
  std::string text;
  std::string environment;
  CommandIdentity identity;
  CommandOptions options;
};

std::string pathOr(const char* pathValue, const std::string& defaultPath) {
  const std::size_t name = defaultPath.find('=') + 1;
  return pathValue == nullptr || *pathValue == '\0' ? defaultPath.substr(name) : pathValue;
}

// The tool's own library path must never reach what it runs.
std::string withoutLibraryPath(const std::string& command) {
  return "unset LD_LIBRARY_PATH; " + command;
}

/// PATH of a line with "chroot" in it: found there is our own chroot, or, in
/// an installation without it, the one of the system.
std::string rootLinePath(const RootCommandPath& command) {
  const std::string libexec = installPath("@/../libexec");
  if (!libexec.empty() && access((libexec + "/chroot").c_str(), X_OK) == 0) {
    return makeRootCommandPath(libexec, kTrustedDirectories, command);
  }
  error_output(1, __func__, __LINE__, "no chroot in %s, the system's is used", libexec.c_str());
  return std::string(kTrustedDirectories) + ":" + command.inner;
}

bool prepareRootLine(const std::string& root, const std::string& command,
                     const std::string& innerPath, int asProcess, PreparedLine& line) {
  char prefix[kPrefixBytes] = {};
  const int length = std::snprintf(prefix, sizeof prefix, "chroot %s ", root.c_str());
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof prefix) {
    error_output(1, __func__, __LINE__, "root of %zu bytes is too long for a command", root.size());
    return false;
  }
  line.text = withoutLibraryPath(prefix + command);
  line.environment = "PATH=" + rootLinePath({innerPath, asProcess});
  line.options.variables = CommandVariables::Own;
  return true;
}

bool prepareHostLine(const std::string& command, const std::string& path, int asProcess,
                     PreparedLine& line) {
  line.text = withoutLibraryPath(command);
  line.environment = "PATH=" + path;
  if (asProcess == 0) return true;
  if (!readCommandIdentity(asProcess, line.identity)) {
    error_output(1, __func__, __LINE__, "rights of process %d unknown, its command isn't run",
                 asProcess);
    return false;
  }
  line.options.identity = &line.identity;
  return true;
}

bool run(const PreparedLine& line, char* buffer, int size, int timeout, int waitStep) {
  return CmdUtils::execCmd(line.text.c_str(), buffer, size, timeout, waitStep,
                           line.environment.c_str(), line.options);
}

bool run(const PreparedLine& line, std::vector<std::string>& lines, int timeout, int waitStep) {
  return CmdUtils::execCmd(line.text.c_str(), lines, timeout, waitStep, line.environment.c_str(),
                           line.options);
}

}  // namespace

// Environment and target are joined by plain concatenation here, so a root
// with both holds a doubled slash where the path operations clean it away.
std::string CmdCollectionUnit::commandRoot() const {
  if (!environment.empty() && !target.empty()) return environment + "/" + target;
  return environment.empty() ? target : environment;
}

bool CmdCollectionUnit::executeCmd(const std::string& command, char* buffer, int size, int timeout,
                                   int waitStep, const char* pathValue) const {
  const std::string root = commandRoot();
  if (root.empty()) return executeHostCmd(command, buffer, size, timeout, waitStep, pathValue);
  PreparedLine line;
  return prepareRootLine(root, command, pathOr(pathValue, initHostPathEnv()), 0, line) &&
         run(line, buffer, size, timeout, waitStep);
}

bool CmdCollectionUnit::executeCmd(const std::string& command, char* buffer, int size) const {
  return executeCmd(command, buffer, size, kDefaultTimeout, kDefaultWaitStep, nullptr);
}

bool CmdCollectionUnit::executeCmd(const std::string& command, std::vector<std::string>& lines,
                                   int timeout, int waitStep, const char* pathValue) const {
  const std::string root = commandRoot();
  if (root.empty()) return executeHostCmd(command, lines, timeout, waitStep, pathValue);
  PreparedLine line;
  return prepareRootLine(root, command, pathOr(pathValue, initHostPathEnv()), 0, line) &&
         run(line, lines, timeout, waitStep);
}

bool CmdCollectionUnit::executeHostCmd(const std::string& command, char* buffer, int size,
                                       int timeout, int waitStep, const char* pathValue) const {
  PreparedLine line;
  return prepareHostLine(command, pathOr(pathValue, initHostPathEnv()), 0, line) &&
         run(line, buffer, size, timeout, waitStep);
}

bool CmdCollectionUnit::executeHostCmd(const std::string& command, std::vector<std::string>& lines,
                                       int timeout, int waitStep, const char* pathValue) const {
  PreparedLine line;
  return prepareHostLine(command, pathOr(pathValue, initHostPathEnv()), 0, line) &&
         run(line, lines, timeout, waitStep);
}

bool CmdCollectionUnit::executeCmdAsProcess(int pid, const std::string& command, char* buffer,
                                            int size, int timeout, int waitStep,
                                            const char* pathValue) const {
  const std::string root = commandRoot();
  const std::string path = pathOr(pathValue, initHostPathEnv());
  PreparedLine line;
  const bool prepared = root.empty() ? prepareHostLine(command, path, pid, line)
                                     : prepareRootLine(root, command, path, pid, line);
  // Looked at when the rights are read already: so they are those of the listed process.
  const bool gained = line.options.identity != nullptr && line.identity.uid == 0 &&
                      ListedProcesses::isUnprivileged(pid);
  if (!prepared || gained || !ListedProcesses::isStill(pid, environment)) {
    if (prepared) {
      error_output(1, __func__, __LINE__, "process %d isn't what it was, its command isn't run",
                   pid);
    }
    return false;
  }
  return run(line, buffer, size, timeout, waitStep);
}

std::string CmdCollectionUnit::initHostPathEnv() const {
  return EnvCmdCollectionUnit::collectDefaultPathEnv();
}

}  // namespace LedgoraCollect
