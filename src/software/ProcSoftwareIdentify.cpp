// The tests that give a process the name of a software.

#include "collect/CollectProcessInfo.h"
#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/RegexUtils.h"
#include "common/StringUtils.h"
#include "common/ZipUtils.h"
#include "common/support/Log.h"
#include "software/PathParts.h"
#include "software/ProcSoftware.h"
#include "software/ProcSoftwareInfo.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kJarOfCommandLine = "\\-jar\\s+(\".+?\"|[^\"\\s]+)";

/// The text that command tests look at: a script is told by its arguments, so
/// that the interpreter's own path takes no part.
std::string& commandTextOf(PROC_EX_INFO_S& proc) {
  return proc.interpreter.isInterpreter ? proc.processStarArgs : proc.cmdLine;
}

}  // namespace

bool ProcSoftware::identifySoftware(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft) {
  if (proc == nullptr || soft == nullptr || proc->keyFilePath.empty()) return false;
  const std::string baseName = baseNameOf(proc->keyFilePath);
  if (baseName.empty()) return false;
  const std::string& packageName = proc->package.packageName;
  const std::string& packageVersion = proc->package.packageVersion;
  std::string name;
  if (identifyByPatternProcess(proc, name)) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]process (%s), identify appName %s by pattern_process name %s",
                 proc->keyFilePath.c_str(), name.c_str(), baseName.c_str());
  } else if (identifyByPattern(baseName, name)) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]process (%s), identify appName %s by pattern name %s",
                 proc->keyFilePath.c_str(), name.c_str(), baseName.c_str());
  } else if (identifyByPattern(packageName, name)) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]process (%s), identify appName %s by pkgInfo %s, pkgVersion %s",
                 proc->keyFilePath.c_str(), name.c_str(), packageName.c_str(),
                 packageVersion.c_str());
  } else if (identifyByPatternCmd(proc, name)) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]process (%s), identify appName %s by starArgs %s",
                 proc->keyFilePath.c_str(), name.c_str(), proc->processStarArgs.c_str());
  } else {
    proc->version = packageVersion;
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]process (%s), name %s starArgs %s identify appName failed",
                 proc->keyFilePath.c_str(), proc->name.c_str(), proc->processStarArgs.c_str());
    return false;
  }
  proc->appName = name;
  soft->name = name;
  soft->collectTime = m_collectTime;
  return true;
}

bool ProcSoftware::identifyByPatternProcess(PROC_EX_INFO_S* proc, std::string& name) {
  return identifySoftName(proc, name, mHighRules) || identifySoftName(proc, name, mNormalRules) ||
         identifySoftName(proc, name, mLowRules);
}

bool ProcSoftware::identifySoftName(PROC_EX_INFO_S* proc, std::string& name, RuleMap& rules) {
  std::string baseName = baseNameOf(proc->keyFilePath);
  if (baseName.empty()) return false;
  std::string& commandText = commandTextOf(*proc);
  for (auto& [ruleName, rule] : rules) {
    if (ruleName.empty()) continue;
    for (PATTERN_PROCESS_S& pattern : rule.patternProcess) {
      if (!matchesPattern(proc, baseName, commandText, pattern)) continue;
      if (checkCharacterFileRules(&rule, proc, pattern.characterFile, name)) {
        name = ruleName;
        return true;
      }
      error_output(2, __func__, __LINE__,
                   "[COLLECT SOFT]Soft(%s)  process(%d) %s pattern file check failed!",
                   ruleName.c_str(), proc->pid, proc->name.c_str());
    }
  }
  return false;
}

bool ProcSoftware::matchesPattern(PROC_EX_INFO_S* proc, std::string& baseName,
                                  std::string& commandText, PATTERN_PROCESS_S& pattern) {
  if (pattern.processName.empty()) return false;
  if (!regex_match(baseName, pattern.processName) &&
      !regex_match(proc->name, pattern.processName) &&
      !regex_match(proc->package.packageName, pattern.processName)) {
    return false;
  }
  if (pattern.cmdlineRegex.empty()) return true;
  return !commandText.empty() && regex_match(commandText, pattern.cmdlineRegex);
}

bool ProcSoftware::identifyByPattern(const std::string& text, std::string& name) {
  if (text.empty()) return false;
  for (auto& [ruleName, rule] : m_softRule) {
    if (ruleName.empty() || rule.pattern.empty()) continue;
    if (!StringUtils::noCaseEqualInStrings(rule.pattern, text)) continue;
    name = ruleName;
    return true;
  }
  error_output(2, __func__, __LINE__,
               "[COLLECT SOFT]identify appName by pattern %s, can not identify appName",
               text.c_str());
  return false;
}

bool ProcSoftware::identifyByPatternCmd(PROC_EX_INFO_S* proc, std::string& name) {
  const std::string& text = commandTextOf(*proc);
  if (text.empty()) return false;
  for (auto& [ruleName, rule] : m_softRule) {
    if (ruleName.empty() || rule.patternCmd.empty()) continue;
    if (!StringUtils::findInString(rule.patternCmd, text)) continue;
    name = ruleName;
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]identify appName %s by patternCmd %s \n",
                 ruleName.c_str(), text.c_str());
    return true;
  }
  error_output(
      2, __func__, __LINE__,
      "[COLLECT SOFT]identify appName by patternCmd, startArgs %s, can not identify appName",
      text.c_str());
  return false;
}

bool ProcSoftware::checkCharacterFileRules(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                           std::vector<PATTERN_FILE_ATTR_S>& files,
                                           std::string& name) {
  if (files.empty()) return true;
  std::string mainFile;
  if (proc->interpreter.language == "java") {
    std::string value;
    mainFile = getFileFromCmd(proc, value, kJarOfCommandLine);
  } else if (proc->interpreter.language == "python") {
    mainFile = proc->keyFilePath;
  }
  readRuleVariables(rule, proc);
  for (PATTERN_FILE_ATTR_S& attr : files) {
    for (std::string& path : candidatePaths(proc, attr, mainFile)) {
      if (!resolveCandidate(proc, path)) {
        error_output(2, __func__, __LINE__,
                     "[COLLECT SOFT]Soft(%s)  process(%d) %s pattern file %s cant' access!",
                     rule->name.c_str(), proc->pid, proc->name.c_str(), path.c_str());
        continue;
      }
      const bool confirmed = checkCharacterFile(proc, path, attr);
      error_output(2, __func__, __LINE__,
                   "[COLLECT SOFT]Soft(%s)  process(%d) %s pattern file %s check %s!",
                   rule->name.c_str(), proc->pid, proc->name.c_str(), path.c_str(),
                   confirmed ? "successful" : "failed");
      if (confirmed) {
        name = rule->name;
        return true;
      }
    }
  }
  proc->varEnvValues.clear();
  proc->varCmdValues.clear();
  proc->varFileValues.clear();
  return false;
}

std::vector<std::string> ProcSoftware::candidatePaths(PROC_EX_INFO_S* proc,
                                                      PATTERN_FILE_ATTR_S& attr,
                                                      const std::string& mainFile) {
  if (attr.filePath.empty()) return {mainFile};
  if (attr.filePath.find('$') != std::string::npos) {
    std::vector<std::string> paths;
    mInformation->getVarValue(proc, attr.filePath, paths);
    return paths;
  }
  if (attr.filePath.front() == '/') return {attr.filePath};
  return {directoryOf(mainFile) + "/" + attr.filePath};
}

// An empty candidate isn't found, in containers neither, where it would name
// the root itself.
bool ProcSoftware::resolveCandidate(PROC_EX_INFO_S* proc, std::string& path) {
  if (!path.empty() && path.front() != '/') path = mInformation->pathWithoutBase(*proc, path);
  if (path.empty()) return false;
  path = PathUtils::getLinkedPath(CollectProcessInfo::addProcessBasePath(*proc, path),
                                  proc->processBasePath);
  return existsInspected(path);
}

bool ProcSoftware::checkCharacterFile(PROC_EX_INFO_S* proc, std::string& path,
                                      PATTERN_FILE_ATTR_S& attr) {
  std::string full = CollectProcessInfo::addProcessBasePath(*proc, path);
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]start to check pattern file %s", full.c_str());
  bool result = true;
  if (!attr.manifestRegex.empty()) {
    result = manifestMatches(full, attr.manifestRegex);
  } else if (!attr.contentRegex.empty()) {
    std::string value;
    result = regexMatchFileContent(full, attr.contentRegex, value);
    if (!result) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]Not found content %s in file %s",
                   attr.contentRegex.c_str(), full.c_str());
    }
  }
  // The message's own conversion for the path is one for wide strings, which
  // the path isn't; its text is kept and the path stands as text.
  error_output(2, __func__, __LINE__,
               "[COLLECT SOFT]finish to check pattern file %s with result %d", full.c_str(),
               result ? 1 : 0);
  return result;
}

bool ProcSoftware::manifestMatches(const std::string& jarPath, const std::string& expression) {
  std::string manifest = mInformation->manifestOf(jarPath);
  if (manifest.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]manifest from jar %s is empty",
                 jarPath.c_str());
    return false;
  }
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]success to get manifest from jar %s",
               jarPath.c_str());
  if (regex_match(manifest, expression)) return true;
  error_output(1, __func__, __LINE__, "[COLLECT SOFT]Not found content %s in jar manifest (%s)",
               expression.c_str(), manifest.c_str());
  return false;
}

std::string ProcSoftware::getFileFromCmd(PROC_EX_INFO_S* proc, std::string& value,
                                         const char* expression) {
  if (!regex_interface(proc->cmdLine, value, expression)) return {};
  value = StringUtils::trim(value, "\"");
  std::string path;
  if (!mInformation->getAbsolutePath(proc, value, path)) return {};
  return path;
}

}  // namespace LedgoraCollect
