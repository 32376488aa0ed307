// Versions that a command tells.
#include <strings.h>

#include <cstdio>

#include "collect/CollectProcessInfo.h"
#include "common/CommandWord.h"
#include "common/InspectedRoot.h"
#include "common/RegexUtils.h"
#include "common/support/CommandIdentity.h"
#include "common/support/ElfStrings.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "software/ProcSoftwareInfo.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kKeyFileVariable = "$key_file_path";

/// The PATH that the process runs with; empty if it has none.
std::string pathOf(const PROC_EX_INFO_S& proc) {
  const auto found = proc.processEnv.find("PATH");
  return found == proc.processEnv.end() ? std::string() : found->second;
}

/// A text that is the same for processes of one container, or of the host,
/// that have the same rights. One whose rights can't be read has its own.
std::string rightsOf(const PROC_EX_INFO_S& proc) {
  std::string text = proc.container.containerId + "\n";
  CommandIdentity identity;
  if (!readCommandIdentity(proc.pid, identity)) return text + "of " + std::to_string(proc.pid);
  for (const gid_t group : identity.groups) text += std::to_string(group) + ",";
  return text + ":" + std::to_string(identity.uid) + ":" + std::to_string(identity.gid) + ":" +
         std::to_string(identity.capabilityBounds);
}

}  // namespace

std::string ProcSoftwareInfo::getBinaryPathByCmdline(const char* cmdline) {
  const std::string text = cmdline == nullptr ? "" : cmdline;
  std::string path;
  for (const char quote : {'"', '\''}) {
    if (!path.empty() || text.empty() || text.front() != quote) continue;
    path = text.substr(1, text.find(quote, 1) - 1);
  }
  return path.empty() ? text.substr(0, text.find(' ')) : path;
}

bool ProcSoftwareInfo::checkExecPathElf(std::string& cmdline, PROC_EX_INFO_S* proc) {
  if (cmdline.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]execPath is empty");
    return false;
  }
  const std::string program = getBinaryPathByCmdline(cmdline.c_str());
  if (program.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]cmdline %s, get file_path empty",
                 cmdline.c_str());
    return false;
  }
  const std::string full = prefixed(proc, program);
  FileDescriptor descriptor = openInspected(full, 0);
  const FileHandle stream(descriptor ? fdopen(descriptor.get(), "rb") : nullptr);
  if (!stream) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]Error opening binary %s", full.c_str());
    return false;
  }
  descriptor.release();
  Elf64_Ehdr header{};
  if (check_elf_file(stream.get(), full.c_str(), &header)) return true;
  error_output(1, __func__, __LINE__, "[COLLECT SOFT] execPath %s, check elf file failed",
               full.c_str());
  return false;
}

bool ProcSoftwareInfo::getVarVersionShellCmd(PROC_EX_INFO_S* proc, std::string& cmd,
                                             std::string& format) {
  if (cmd.empty()) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]cmd is empty");
    return false;
  }
  const std::size_t variable = cmd.find(kKeyFileVariable);
  if (variable == std::string::npos || !proc->keyFilePathFlag) return true;
  if (!acceptCommandWord(proc->keyFilePath, CommandPlace::Unquoted, __func__)) return false;
  cmd.replace(variable, std::string(kKeyFileVariable).size(), proc->keyFilePath);
  if (format.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]cmd %s, shellFormat is empty, no more check",
                 cmd.c_str());
    return true;
  }
  if (!regex_match(cmd, format)) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT] cmd %s, shellFormat %s, check failed",
                 cmd.c_str(), format.c_str());
    return false;
  }
  if (proc->interpreter.isInterpreter) {
    if (!acceptCommandWord(proc->path, CommandPlace::Unquoted, __func__)) return false;
    cmd = proc->path + " " + cmd;
  }
  error_output(2, __func__, __LINE__, "[COLLECT SOFT] cmd %s, shellFormat %s, check successful",
               cmd.c_str(), format.c_str());
  return true;
}

bool ProcSoftwareInfo::runVarCommand(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                     const CMD_REGEX_S& element, const std::string& line,
                                     std::string& version) {
  const char* name = rule->name.c_str();
  std::string output;
  if (!mVersionCommand.run(m_env, *proc, line, pathOf(*proc), output)) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) execCmd (%s) failed ", name,
                 line.c_str());
  }
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) exec(%s), res:%s", name, line.c_str(),
               output.c_str());
  if (!regex_interface(output, version, element.outRegex)) return false;
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) get Version [%s] by varVersionCmd",
               name, version.c_str());
  return true;
}

bool ProcSoftwareInfo::versionByVarValues(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                          CMD_REGEX_S& element,
                                          const std::vector<std::string>& values,
                                          std::string& version) {
  for (const std::string& value : values) {
    if (!acceptCommandWord(value, CommandPlace::Unquoted, __func__)) continue;
    std::string line = value + element.cmd;
    if (!checkExecPathElf(line, proc) ||
        !getVarVersionShellCmd(proc, line, element.versionShellFormat)) {
      continue;
    }
    if (runVarCommand(rule, proc, element, line, version)) return true;
  }
  return false;
}

// The key file stays in the rule's text for the rest of the run, so a later
// process of this software sees the first process's key file. Consumers rely
// on the resulting versions. It does so among processes of the same rights
// only: otherwise whoever names his program like a server would have it run
// with the rights of the real one.
bool ProcSoftwareInfo::versionByRuleText(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                         CMD_REGEX_S& element, std::string& version) {
  const std::pair<const CMD_REGEX_S*, std::string> key(&element, rightsOf(*proc));
  std::string& line = mKeyFileCommands.emplace(key, element.cmd).first->second;
  return getVarVersionShellCmd(proc, line, element.versionShellFormat) &&
         checkExecPathElf(line, proc) && runVarCommand(rule, proc, element, line, version);
}

bool ProcSoftwareInfo::getVersionByVarCmd(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                          std::string& version) {
  const char* name = rule->name.c_str();
  if (rule->versionVarCmd.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) versionVarCmd is empty in rule!",
                 name);
    return false;
  }
  for (CMD_REGEX_S& element : rule->versionVarCmd) {
    std::vector<std::string> values;
    if (!getVarValue(proc, element.pathBase, values)) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]var value not defined %s",
                   element.pathBase.c_str());
      continue;
    }
    if (!values.empty()) {
      if (versionByVarValues(rule, proc, element, values, version)) return true;
      continue;
    }
    if (versionByRuleText(rule, proc, element, version)) return true;
  }
  error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) no version found by versionVarCmd!",
               name);
  return false;
}

// Running an interpreter tells the interpreter's version, so only the rule of
// the interpreter itself may do that for a script.
bool ProcSoftwareInfo::mayRunExecutable(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc) {
  const char* name = rule->name.c_str();
  if (rule->versionCmd.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) versionCmd is empty in rule!",
                 name);
    return false;
  }
  if (proc->path.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) process path is empty!", name);
    return false;
  }
  if (!existsInspected(prefixed(proc, proc->path))) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) process path(%s) is not exits!",
                 name, proc->path.c_str());
    return false;
  }
  if (proc->interpreter.isInterpreter &&
      strcasecmp(proc->interpreter.language.c_str(), name) != 0) {
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]Soft(%s) is not interpreter, don't get version by cmdVersion",
                 name);
    return false;
  }
  return true;
}

bool ProcSoftwareInfo::getVersionByCmd(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                       std::string& version) {
  if (!mayRunExecutable(rule, proc)) return false;
  const char* name = rule->name.c_str();
  const bool quoted = proc->path.find(' ') != std::string::npos;
  const std::string program = quoted ? "'" + proc->path + "' " : proc->path + " ";
  const CommandPlace place = quoted ? CommandPlace::SingleQuoted : CommandPlace::Unquoted;
  const bool accepted = acceptCommandWord(proc->path, place, __func__);
  for (const CONTENT_REGEX_S& element : rule->versionCmd) {
    std::string line = program + element.cmdParam;
    if (!accepted || !checkExecPathElf(line, proc)) continue;
    std::string output;
    if (!mVersionCommand.run(m_env, *proc, line, pathOf(*proc), output)) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) execCmd (%s) failed ", name,
                   line.c_str());
    }
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) exec(%s), result: %s regex %s",
                 name, line.c_str(), output.c_str(), element.outRegex.c_str());
    if (!regex_interface(output, version, element.outRegex)) continue;
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) get Version [%s] by versionCmd",
                 name, version.c_str());
    return true;
  }
  error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) no version found by versionCmd!",
               name);
  return false;
}

}  // namespace LedgoraCollect
