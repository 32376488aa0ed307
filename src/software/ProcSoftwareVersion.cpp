// Versions that are read: from the environment, open jars, strings of the
// executable, files and archives.
#include "collect/CollectProcessInfo.h"
#include "common/RegexUtils.h"
#include "common/ZipUtils.h"
#include "common/support/ElfStrings.h"
#include "common/support/Log.h"
#include "software/ProcSoftwareInfo.h"
#include "software/SoftwareSearchFile.h"

namespace LedgoraCollect {
namespace {

// Members longer than this are cut.
constexpr int kZipMemberBytes = 8192;
constexpr const char* kFiles = "document";

/// The first file that the expression finds below the directories.
bool findFile(PROC_EX_INFO_S* proc, std::vector<std::string>& directories, std::string& expression,
              std::string& found) {
  std::string fileType = kFiles;
  return softwareSearchFile::getInstance()->searchFileByRule(proc, directories, expression, found,
                                                             fileType) &&
         !found.empty();
}

}  // namespace

bool ProcSoftwareInfo::getVersionByVersionEnv(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                              std::string& version) {
  const char* name = rule->name.c_str();
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) use version_env to get version.",
               name);
  if (rule->versionEnv.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) versionEnv is empty in rule!",
                 name);
    return false;
  }
  for (const std::string& variable : rule->versionEnv) {
    const auto found = proc->processEnv.find(variable);
    if (found == proc->processEnv.end()) continue;
    version = found->second;
    return true;
  }
  error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) no version found by versionEnv!",
               name);
  return false;
}

// The file is the executable and not the key file.
bool ProcSoftwareInfo::getVersionByELF(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                       std::string& version) {
  const char* name = rule->name.c_str();
  if (rule->versionElf.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) version_elf is empty in rule!",
                 name);
    return false;
  }
  const std::string executable = prefixed(proc, proc->path);
  for (const std::string& expression : rule->versionElf) {
    elf_string_s search{std::string(), expression};
    if (!elf_parse(executable.c_str(), &search, regex_interface)) continue;
    version = search.result;
    return true;
  }
  error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) no version found by version elf",
               name);
  return false;
}

// Read from the name of a jar that the process holds open.
bool ProcSoftwareInfo::getVersionByOpenJar(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                           std::string& version) {
  const char* name = rule->name.c_str();
  if (rule->versionJar.empty()) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) version_jar is empty in rule!",
                 name);
    return false;
  }
  std::vector<std::string> files;
  if (!CollectProcessInfo::getProcOpenFile(*proc, files, nullptr)) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]Soft(%s), process %s get open files failed!",
                 name, proc->name.c_str());
    return false;
  }
  for (const std::string& expression : rule->versionJar) {
    for (std::string& file : files) {
      if (file.find(".jar") == std::string::npos) continue;
      if (regex_interface(file, version, expression)) return true;
    }
  }
  error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) no version found by version_jar",
               name);
  return false;
}

bool ProcSoftwareInfo::getVersionByVersionFile(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                               std::string& version) {
  const char* name = rule->name.c_str();
  // One list for the whole call: later elements search the directories of the
  // earlier ones too. Rules rely on it.
  std::vector<std::string> directories;
  for (CONTENT_REGEX_EX_S& element : rule->versionFile) {
    if (element.pathBase.empty() || !getVarValue(proc, element.pathBase, directories)) continue;
    std::string found;
    if (!findFile(proc, directories, element.pathFile, found)) {
      error_output(2, __func__, __LINE__,
                   "[COLLECT SOFT]Soft(%s) get version_file failed, fileRegex %s", name,
                   element.pathFile.c_str());
      continue;
    }
    std::string full = prefixed(proc, found);
    if (regexMatchFileContent(full, element.outRegex, version)) {
      error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) found version [%s] in file %s!",
                   name, version.c_str(), found.c_str());
      return true;
    }
    error_output(2, __func__, __LINE__,
                 "[COLLECT SOFT]Soft(%s) no version found in version_file %s", name, found.c_str());
  }
  error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) no version found by version_file!",
               name);
  return false;
}

bool ProcSoftwareInfo::getVersionByExtractZip(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                                              std::string& version) {
  const char* name = rule->name.c_str();
  std::vector<std::string> directories;  // for the whole call, as above
  for (ZIP_REGEX_EX_S& element : rule->versionZip) {
    std::string found;
    if (!getVarValue(proc, element.pathBase, directories) ||
        !findFile(proc, directories, element.pathZip, found)) {
      error_output(2, __func__, __LINE__,
                   "[COLLECT SOFT]Soft(%s) get version_zip failed, fileRegex %s", name,
                   element.pathZip.c_str());
      continue;
    }
    // The path goes in without the process's root: this method reads from the
    // host even for a container. Rules rely on it.
    std::string text(kZipMemberBytes, '\0');
    if (ZipUtils::unZipToMem(found.c_str(), element.pathFile.c_str(), text.data(),
                             kZipMemberBytes) != 0) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]unzip  %s  to memory failed",
                   found.c_str());
      continue;
    }
    text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
    if (!regex_interface(text, version, element.outRegex)) {
      error_output(1, __func__, __LINE__,
                   "[COLLECT SOFT]get version by regex failed, path : %s , version regex is : %s.",
                   found.c_str(), element.outRegex.c_str());
      return false;
    }
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) found version [%s] in file %s!",
                 name, version.c_str(), found.c_str());
    return true;
  }
  error_output(1, __func__, __LINE__, "[COLLECT SOFT]Soft(%s) no version found by version_zip!",
               name);
  return false;
}

}  // namespace LedgoraCollect
