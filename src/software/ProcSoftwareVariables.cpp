// The variables of rules and the paths that are made of them.
#include <sys/stat.h>

#include "collect/CollectProcessInfo.h"
#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/RegexUtils.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "software/PathParts.h"
#include "software/ProcSoftwareInfo.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kWorkingDirectory = "PWD";

std::string withSlash(const std::string& value) {
  return value.empty() || value.back() != '/' ? value + "/" : value;
}

/// The first variable of a path text: from "$" up to the next "/" or ".".
struct VariableToken {
  std::size_t begin;
  std::size_t end;
  std::string name;
};

VariableToken firstVariable(const std::string& expression) {
  VariableToken token;
  token.begin = expression.find('$');
  token.end = expression.find_first_of("/.", token.begin);
  if (token.end == std::string::npos) token.end = expression.size();
  token.name = expression.substr(token.begin + 1, token.end - token.begin - 1);
  return token;
}

// The value is made to end in "/" before it is put in, so a token that a dot
// ends yields a hidden file name in the variable's directory. Rules rely on it.
std::string replaceToken(const std::string& expression, const VariableToken& token,
                         const std::string& value) {
  const std::string text =
      expression.substr(0, token.begin) + withSlash(value) + expression.substr(token.end);
  return StringUtils::replaceAllStr(text, "//", "/");
}

}  // namespace

bool ProcSoftwareInfo::getCmdParamValue(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc) {
  std::string language = rule->cmdlineType.empty() ? proc->interpreter.language : rule->cmdlineType;
  if (language.empty()) return false;
  return CollectProcessInfo::getCmdParamValue(language, proc->cmdLine, proc->cmdParams);
}

void ProcSoftwareInfo::parseVarEnvValue(std::vector<VAR_DEFINE_S>& defs,
                                        std::map<std::string, std::string>& env,
                                        std::map<std::string, std::string>& out) {
  if (!out.empty()) return;
  const auto pwd = env.find(kWorkingDirectory);
  if (pwd != env.end()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]add default pwd env, value %s",
                 pwd->second.c_str());
    out["pwd"] = pwd->second;
  }
  for (const VAR_DEFINE_S& definition : defs) {
    if (definition.varSource.empty() && pwd != env.end()) {
      out.emplace(definition.varName, pwd->second);
      continue;
    }
    const auto found = env.find(definition.varSource);
    if (found == env.end()) continue;
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]get rule var name %s, value %s by env",
                 definition.varName.c_str(), found->second.c_str());
    out.emplace(definition.varName, found->second);
  }
}

void ProcSoftwareInfo::parseVarCmdValue(std::vector<VAR_DEFINE_S>& defs,
                                        std::map<std::string, std::string>& params,
                                        std::string& directory,
                                        std::map<std::string, std::string>& out) {
  if (defs.empty() || !out.empty()) return;
  for (const VAR_DEFINE_S& definition : defs) {
    if (definition.varSource.empty()) {
      out[definition.varName] = directory;
      continue;
    }
    const auto found = params.find(definition.varSource);
    if (found == params.end()) continue;
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]get rule var name %s, value %s by cmdline",
                 definition.varName.c_str(), found->second.c_str());
    out.emplace(definition.varName, found->second);
  }
}

void ProcSoftwareInfo::parseVarFileValue(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc) {
  if (rule->varFile.empty() || !proc->varFileValues.empty()) return;
  std::vector<std::string> files;
  if (!CollectProcessInfo::getProcOpenFile(*proc, files, nullptr)) {
    error_output(0, __func__, __LINE__,
                 "[COLLECT SOFT]SoftRule(%s), process %s get open files failed!",
                 rule->name.c_str(), proc->name.c_str());
    return;
  }
  for (const VAR_DEFINE_S& definition : rule->varFile) {
    for (std::string& file : files) {
      if (!regex_match(file, definition.varSource)) continue;
      std::string& value = proc->varFileValues[definition.varName];
      value = directoryOf(file);
      error_output(2, __func__, __LINE__, "[COLLECT SOFT]Add var %s with value %s",
                   definition.varName.c_str(), value.c_str());
      break;
    }
  }
}

bool ProcSoftwareInfo::getVarValue(PROC_EX_INFO_S* proc, std::string& expression,
                                   std::vector<std::string>& out) {
  if (expression.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]var is empty");
    return true;
  }
  std::vector<std::string> candidates;
  if (expression.find('$') == std::string::npos) {
    candidates.push_back(expression);
  } else {
    const VariableToken token = firstVariable(expression);
    const auto* first = &proc->varEnvValues;
    for (const auto* values : {&proc->varEnvValues, &proc->varCmdValues, &proc->varFileValues}) {
      const auto found = values->find(token.name);
      if (found == values->end()) continue;
      candidates.push_back(replaceToken(expression, token, found->second));
      error_output(2, __func__, __LINE__,
                   values == first ? "[COLLECT SOFT]var [%s] varValue found varValue %s "
                                   : "[COLLECT SOFT]var [%s] value found value %s ",
                   token.name.c_str(), candidates.back().c_str());
    }
    if (candidates.empty()) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]var [%s] not found value",
                   token.name.c_str());
      return false;
    }
  }
  addCandidates(proc, candidates, out);
  return true;
}

void ProcSoftwareInfo::addCandidates(PROC_EX_INFO_S* proc,
                                     const std::vector<std::string>& candidates,
                                     std::vector<std::string>& out) {
  for (std::string candidate : candidates) {
    std::string path;
    if (!getAbsolutePath(proc, candidate, path)) continue;
    // A text that ends in "/" means a directory: a variable that names a file
    // is dropped, in containers as on the host.
    struct stat status {};
    if (candidate.back() == '/' &&
        (statInspected(prefixed(proc, path), status) != 0 || !S_ISDIR(status.st_mode))) {
      continue;
    }
    out.push_back(std::move(path));
  }
}

std::string ProcSoftwareInfo::pathWithoutBase(const PROC_EX_INFO_S& proc, const std::string& path) {
  return proc.processBasePath.empty() || path.empty() ? std::string() : "/" + path;
}

bool ProcSoftwareInfo::getAbsolutePath(PROC_EX_INFO_S* proc, std::string& path, std::string& out) {
  if (proc == nullptr || path.empty()) return false;
  std::string absolute = path;
  if (path.front() != '/') {
    if (proc->processEnv.empty()) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s), path %s envValue empty",
                   proc->appName.c_str(), path.c_str());
      return false;
    }
    const auto pwd = proc->processEnv.find(kWorkingDirectory);
    absolute = pwd != proc->processEnv.end() && !pwd->second.empty() && pwd->second.front() == '/'
                   ? pwd->second + "/" + path
                   : pathWithoutBase(*proc, path);
  }
  if (absolute.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s), path %s absolutePath empty",
                 proc->appName.c_str(), path.c_str());
    return false;
  }
  if (getRealPath(proc, absolute, out)) return true;
  error_output(0, __func__, __LINE__, "[COLLECT SOFT]Soft(%s), path %s get absolutePath failed",
               proc->appName.c_str(), path.c_str());
  return false;
}

// Reported is the path to which the links lead inside the root.
bool ProcSoftwareInfo::getRealPath(PROC_EX_INFO_S* proc, std::string& path, std::string& out) {
  const std::string linked = PathUtils::getLinkedPath(prefixed(proc, path), proc->processBasePath);
  if (!PathUtils::isExist(linked)) return false;
  out = CollectProcessInfo::dropProcessBasePath(*proc, resolveInspected(linked));
  return true;
}

}  // namespace LedgoraCollect
