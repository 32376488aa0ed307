#include "hostmodel/EnvCmdCollectionUnit.h"

#include <algorithm>
#include <cstdlib>

#include "common/FileUtils.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

constexpr char kPlainShell[] = "sh -c set";
constexpr char kLoginShell[] = "bash -l -c \"sh -c set\"";
constexpr int kTimeout = 30;
constexpr int kWaitStep = 5;
constexpr const char* kDefaultDirectories[] = {
    "/usr/bin", "/bin", "/usr/sbin", "/sbin", "/usr/local/sbin", "/usr/local/bin"};
// Ours, exported to every command of the run: no variable of the machine.
constexpr char kOwnVariable[] = "LEDGORA_START_TIME";

bool namesPulseaudio(const std::string& line, void* context) {
  *static_cast<bool*>(context) = line.find("pulseaudio") != std::string::npos;
  return *static_cast<bool*>(context);
}

// On desktops whose profile names pulseaudio a login shell must be avoided.
// The profile is that of the machine that runs the tool, also for a root.
const char* shellLine() {
  const char* home = std::getenv("HOME");
  const std::string profile = std::string(home == nullptr ? "/root" : home) + "/.profile";
  bool desktop = false;
  FileUtils::readFileLines(profile, namesPulseaudio, &desktop);
  return desktop ? kPlainShell : kLoginShell;
}

/// What the shell of one root said. It says the same as long as a run lasts,
/// and asking takes a login shell, or 30 seconds where that hangs.
struct KeptAnswer {
  bool asked = false;
  std::string environment;
  bool answered = false;
  std::map<std::string, std::string> variables;
};

bool valueOf(const std::map<std::string, std::string>& variables, const std::string& name,
             std::string& out) {
  const auto found = variables.find(name);
  if (found == variables.end()) {
    error_output(1, __func__, __LINE__,
                 "[ENV]the environment variable is not available in the terminal");
    return false;
  }
  out = found->second;
  return true;
}

}  // namespace

bool EnvCmdCollectionUnit::collectEnv(const CmdCollectionUnit& cmdUnit,
                                      std::map<std::string, std::string>& variables) const {
  std::vector<std::string> lines;
  cmdUnit.executeCmd(shellLine(), lines, kTimeout, kWaitStep, nullptr);
  if (lines.empty()) {
    error_output(1, __func__, __LINE__, "[ENV]vctEnvVariable is empty");
    return false;
  }
  parseSetLines(lines, variables);
  return true;
}

// Every line is taken by itself: the lines of a value of several lines and of
// function bodies become entries or messages, and consumers know them so.
void EnvCmdCollectionUnit::parseSetLines(const std::vector<std::string>& lines,
                                         std::map<std::string, std::string>& variables) {
  int number = 0;
  for (const std::string& line : lines) {
    ++number;
    if (line.empty()) continue;
    const std::size_t equals = line.find('=');
    const std::string value =
        equals == std::string::npos ? "" : StringUtils::trim(line.substr(equals + 1), "'");
    if (equals == 0 || value.empty()) {
      // The line may be the rest of a secret of several lines, so its number
      // stands for it.
      error_output(1, __func__, __LINE__, "[ENV]variable: line %d invalid environment variable",
                   number);
      continue;
    }
    const std::string name = line.substr(0, equals);
    if (name != kOwnVariable) variables.emplace(name, value);
  }
}

bool EnvCmdCollectionUnit::collectHostEnv(std::map<std::string, std::string>& variables) const {
  CmdCollectionUnit unit;
  unit.setEnvironment(environment);
  if (collectEnv(unit, variables)) return true;
  error_output(1, __func__, __LINE__, "[ENV]get system env failed");
  return false;
}

bool EnvCmdCollectionUnit::collectHostEnvValue(const std::string& name, std::string& out) const {
  static KeptAnswer kept;  // a run has one environment
  if (!kept.asked || kept.environment != environment) {
    kept = {true, environment, false, {}};
    kept.answered = collectHostEnv(kept.variables);
  } else if (!kept.answered) {
    error_output(1, __func__, __LINE__, "[ENV]get system env failed");
  }
  return kept.answered && valueOf(kept.variables, name, out);
}

bool EnvCmdCollectionUnit::collectEnvValue(const std::string& name, std::string& out) const {
  CmdCollectionUnit unit;
  unit.setEnvironment(environment);
  unit.setTarget(target);
  std::map<std::string, std::string> variables;
  if (!collectEnv(unit, variables)) {
    error_output(1, __func__, __LINE__, "[ENV]get system env failed");
    return false;
  }
  return valueOf(variables, name, out);
}

std::string EnvCmdCollectionUnit::collectDefaultPathEnv() {
  static std::string assignment;
  if (assignment.empty()) assignment = mergeDefaultPath(std::getenv("PATH"));
  return assignment;
}

std::string EnvCmdCollectionUnit::mergeDefaultPath(const char* ownPath) {
  std::string merged = "PATH=";
  for (const char* directory : kDefaultDirectories) merged.append(directory) += ':';
  for (const std::string& entry :
       StringUtils::split(ownPath == nullptr ? "" : ownPath, ":", false)) {
    if (std::find(std::begin(kDefaultDirectories), std::end(kDefaultDirectories), entry) ==
        std::end(kDefaultDirectories)) {
      merged.append(entry) += ':';
    }
  }
  return merged;
}

}  // namespace LedgoraCollect
