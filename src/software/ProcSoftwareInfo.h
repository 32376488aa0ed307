#pragma once

#include <map>
#include <string>
#include <vector>

#include "collect/ProcessRecords.h"
#include "software/RuleModel.h"
#include "software/SoftwareRecords.h"
#include "software/VersionCommand.h"

namespace LedgoraCollect {

/// Finds out, as a rule tells it, the version of an identified software, its
/// configuration, the Java runtime under it and its install time. Paths are as
/// the inspected process sees them; its root is put in front only where a file
/// is opened. Singleton. The members are spread over four files: the order of
/// the work (ProcSoftwareInfo.cpp), the variables of rules
/// (ProcSoftwareVariables.cpp), versions from files (ProcSoftwareVersion.cpp)
/// and versions from commands (ProcSoftwareVersionCmd.cpp).
class ProcSoftwareInfo {
 public:
  static ProcSoftwareInfo* getInstance();

  void setMEnv(const std::string& env) { m_env = env; }
  const std::string& getMEnv() const { return m_env; }
  /// Manifest text by the jar's path with its root in front.
  std::map<std::string, std::string>& getManifestCache() { return mManifests; }
  /// The manifest of a jar, read once in a run; empty if there is none.
  const std::string& manifestOf(const std::string& jarPath);

  /// Fills what the process itself gives.
  bool getSoftwareInfoByProc(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  /// Fills configuration, version and install time: the expensive step.
  void getSoftwareInfoByRule(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  bool getSoftwareVersion(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  bool getSoftwareConfigure(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  bool getSoftwareInstallTime(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);

  bool getVersionByPkg(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  bool getVersionByVersionEnv(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, std::string& version);
  bool getVersionByVersionFile(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, std::string& version);
  bool getVersionByOpenJar(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, std::string& version);
  bool getVersionByELF(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, std::string& version);
  bool getVersionByExtractZip(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, std::string& version);
  bool getVersionByVarCmd(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, std::string& version);
  bool getVersionByCmd(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, std::string& version);

  // Each map is filled at most once for a process.
  void parseVarEnvValue(std::vector<VAR_DEFINE_S>& defs, std::map<std::string, std::string>& env,
                        std::map<std::string, std::string>& out);
  void parseVarCmdValue(std::vector<VAR_DEFINE_S>& defs, std::map<std::string, std::string>& params,
                        std::string& directory, std::map<std::string, std::string>& out);
  void parseVarFileValue(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc);
  /// Parses the command line into `cmdParams`. False if the language isn't known.
  bool getCmdParamValue(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc);
  /// Appends the existing absolute paths that a rule's path text stands for.
  /// False only if it names a variable that has no value.
  bool getVarValue(PROC_EX_INFO_S* proc, std::string& expression, std::vector<std::string>& out);
  bool getConfPathByCmdline(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, std::string& out);
  bool getConfPathByDefault(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, std::string& out);
  /// The existing path that `path` is for the process: relative ones below its
  /// PWD, links followed inside its root.
  bool getAbsolutePath(PROC_EX_INFO_S* proc, std::string& path, std::string& out);
  bool getRealPath(PROC_EX_INFO_S* proc, std::string& path, std::string& out);
  /// What a relative path means with nothing to be relative to: below the
  /// process's root, never the tool's own directory; empty on the host.
  static std::string pathWithoutBase(const PROC_EX_INFO_S& proc, const std::string& path);

  void getDevelopKitVersion(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  bool getJavaVersion(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  bool getJavaVersionByFile(PROC_EX_INFO_S* proc, std::string& out);
  bool getJavaVersionByRt(PROC_EX_INFO_S* proc, std::string& out);

  /// The program of a command line: its quoted or first word.
  std::string getBinaryPathByCmdline(const char* cmdline);
  /// True if the line's program is an ELF file: nothing else is run.
  bool checkExecPathElf(std::string& cmdline, PROC_EX_INFO_S* proc);
  /// Puts the key file into the line. False if the line must not run.
  bool getVarVersionShellCmd(PROC_EX_INFO_S* proc, std::string& cmd, std::string& format);

 private:
  using VersionMethod = bool (ProcSoftwareInfo::*)(SOFTWARE_RULE_S*, PROC_EX_INFO_S*, std::string&);
  ProcSoftwareInfo();

  /// The path as the tool must open it; empty for one that leads nowhere.
  static std::string prefixed(PROC_EX_INFO_S* proc, const std::string& path);
  void readVariables(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc);
  bool mayRunExecutable(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc);
  bool runVarCommand(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, const CMD_REGEX_S& element,
                     const std::string& line, std::string& version);
  bool versionByRuleText(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, CMD_REGEX_S& element,
                         std::string& version);
  bool versionByVarValues(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc, CMD_REGEX_S& element,
                          const std::vector<std::string>& values, std::string& version);
  void addCandidates(PROC_EX_INFO_S* proc, const std::vector<std::string>& candidates,
                     std::vector<std::string>& out);

  std::map<std::string, VersionMethod> mVersionMethods;
  std::vector<std::string> mConfDirectories;
  std::map<std::string, std::string> mManifests;
  std::string m_env;
  /// Texts of "var_version_cmd" with a key file in them, by the rule's element
  /// and the rights of the process that brought the key file.
  std::map<std::pair<const CMD_REGEX_S*, std::string>, std::string> mKeyFileCommands;
  VersionCommand mVersionCommand;
};

}  // namespace LedgoraCollect
