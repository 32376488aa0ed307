#include "software/CollectRuleParser.h"

#include <array>
#include <string_view>

#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "run/CollectFilter.h"
#include "run/CollectJsonUtil.h"

namespace LedgoraCollect {
namespace {

// The version methods a rule can order by itself. "version_cmd" and
// "var_version_cmd" are not among them: commands always come last.
constexpr std::array<std::string_view, 5> kOrderedVersionMethods = {
    "version_env", "version_jar", "version_file", "version_elf", "version_zip"};

void readText(cJSON* object, const char* key, std::string& out) {
  const cJSON* member = cJSON_GetObjectItem(object, key);
  if (cJSON_IsString(member)) out = member->valuestring;
}

std::string textOf(cJSON* object, const char* key) {
  std::string out;
  readText(object, key, out);
  return out;
}

/// The member under the key if it is an array, else null.
cJSON* arrayOf(cJSON* object, const char* key) {
  cJSON* member = cJSON_GetObjectItem(object, key);
  return cJSON_IsArray(member) ? member : nullptr;
}

void readTextList(cJSON* object, const char* key, std::vector<std::string>& out) {
  if (cJSON* array = arrayOf(object, key)) JSONArray2Vct(array, out);
}

/// Calls `read` with every element of the array that is an object, in order.
template <class Read>
void forEachObject(cJSON* array, Read read) {
  cJSON* element = nullptr;
  cJSON_ArrayForEach(element, array) {
    if (cJSON_IsObject(element)) read(element);
  }
}

/// Calls `read` with every element of a rule file's outermost array; anything
/// but an array holds no rules.
template <class Read>
void forEachRule(cJSON* tree, Read read) {
  if (!cJSON_IsArray(tree)) return;
  cJSON* element = nullptr;
  cJSON_ArrayForEach(element, tree) read(element);
}

// The default stands for a missing key only: in a process rule a "belong" of
// another type leaves the field empty, in a package rule it gives the default.
// Consumers rely on both.
void readProcBelong(cJSON* rule, std::string& belong) {
  if (cJSON_GetObjectItem(rule, "belong") != nullptr) belong = textOf(rule, "belong");
}

}  // namespace

bool RuleParser::loadProcSoftwareRule(char* path, std::map<std::string, SOFTWARE_RULE_S>& rules) {
  const JsonHandle tree(ParseJsonFile(path));
  if (!tree) return false;
  forEachRule(tree.get(), [&](cJSON* element) {
    SOFTWARE_RULE_S rule;
    if (!readProcRule(element, rule)) return;
    std::string name = rule.name;
    rules.emplace(std::move(name), std::move(rule));
  });
  return true;
}

bool RuleParser::readProcRule(cJSON* rule, SOFTWARE_RULE_S& record) {
  readText(rule, "name", record.name);
  if (record.name.empty()) {
    error_output(0, __func__, __LINE__, "parse software rule, get software name failed ");
    return false;
  }
  readText(rule, "id", record.id);
  readText(rule, "app_type", record.appType);
  readTextList(rule, "related_proc", record.relatedProc);
  readProcBelong(rule, record.belong);
  readText(rule, "cmdline_type", record.cmdlineType);
  readTextList(rule, "key_path", record.keyPath);
  loadCharacter(rule, record);
  loadVersion(rule, record);
  loadConf(rule, record);
  loadVar(rule, record);
  loadCompany(rule, record.companyZh, record.companyEn);
  loadCategory(rule, record);
  loadTag(rule, record.tag);
  return true;
}

bool RuleParser::loadInstallSoftwareRule(char* path,
                                         std::vector<INSTALL_SOFTWARE_CONFIG_S>& rules) {
  const JsonHandle tree(ParseJsonFile(path));
  if (!tree) return false;
  forEachRule(tree.get(), [&](cJSON* element) {
    INSTALL_SOFTWARE_CONFIG_S rule;
    if (readInstallRule(element, rule)) rules.push_back(std::move(rule));
  });
  return true;
}

bool RuleParser::readInstallRule(cJSON* rule, INSTALL_SOFTWARE_CONFIG_S& record) {
  readText(rule, "appname", record.appName);
  if (record.appName.empty()) return false;
  readText(rule, "id", record.id);
  loadTag(rule, record.tag);
  cJSON* configure = cJSON_GetObjectItem(rule, "configure");
  readTextList(configure, "binpath", record.binPath);
  readTextList(configure, "confpath", record.confPath);
  cJSON* packages = cJSON_GetObjectItem(rule, "pkgname");
  readTextList(packages, "rpm_pkg", record.rpmPkg);
  readTextList(packages, "dpkg_pkg", record.dpkgPkg);
  loadCompany(rule, record.companyZh, record.companyEn);
  loadCategory(rule, record);
  readText(rule, "belong", record.belong);
  return true;
}

void RuleParser::loadCharacter(cJSON* rule, SOFTWARE_RULE_S& record) {
  cJSON* character = cJSON_GetObjectItem(rule, "character");
  if (character == nullptr) return;
  readTextList(character, "pattern", record.pattern);
  readTextList(character, "pattern_cmd", record.patternCmd);
  loadPatternProcess(character, record);
}

void RuleParser::loadPatternProcess(cJSON* character, SOFTWARE_RULE_S& record) {
  forEachObject(arrayOf(character, "pattern_process"), [&](cJSON* element) {
    PATTERN_PROCESS_S pattern;
    readText(element, "process_name", pattern.processName);
    readText(element, "cmdline_regex", pattern.cmdlineRegex);
    loadCharacterFile(element, pattern);
    readText(element, "priority", pattern.priority);
    record.patternProcess.push_back(std::move(pattern));
  });
}

void RuleParser::loadCharacterFile(cJSON* pattern, PATTERN_PROCESS_S& record) {
  forEachObject(arrayOf(pattern, "character_file"), [&](cJSON* element) {
    record.characterFile.push_back({textOf(element, "file_path"), textOf(element, "manifest_regex"),
                                    textOf(element, "content_regex")});
  });
}

void RuleParser::loadVersion(cJSON* rule, SOFTWARE_RULE_S& record) {
  cJSON* versions = cJSON_GetObjectItem(rule, "versions");
  if (!cJSON_IsObject(versions)) return;
  const cJSON* child = nullptr;
  cJSON_ArrayForEach(child, versions) {
    for (const std::string_view method : kOrderedVersionMethods) {
      if (method == child->string) record.versionMethods.emplace_back(method);
    }
  }
  loadVersionCmd(versions, record);
  loadVersionVarCmd(versions, record);
  loadVersionFile(versions, record);
  loadVersionZip(versions, record);
  loadVersionJar(versions, record);
  readTextList(versions, "version_env", record.versionEnv);
  readTextList(versions, "version_elf", record.versionElf);
  readText(versions, "version_product", record.versionProduct);
}

void RuleParser::loadVersionCmd(cJSON* versions, SOFTWARE_RULE_S& record) {
  getRegexArray(arrayOf(versions, "version_cmd"), "cmd_param", "out_regex", record.versionCmd);
}

void RuleParser::loadVersionVarCmd(cJSON* versions, SOFTWARE_RULE_S& record) {
  forEachObject(arrayOf(versions, "var_version_cmd"), [&](cJSON* element) {
    record.versionVarCmd.push_back({textOf(element, "path_base"), textOf(element, "cmd"),
                                    textOf(element, "out_regex"),
                                    textOf(element, "version_shell_format")});
  });
}

void RuleParser::loadVersionFile(cJSON* versions, SOFTWARE_RULE_S& record) {
  getRegexArrayEx(arrayOf(versions, "version_file"), "path_base", "path_file", "out_regex",
                  record.versionFile);
}

// Unlike "version_env" and "version_elf", which are arrays of strings, this is
// an array of objects with the one key "jar_name".
void RuleParser::loadVersionJar(cJSON* versions, SOFTWARE_RULE_S& record) {
  forEachObject(arrayOf(versions, "version_jar"),
                [&](cJSON* element) { record.versionJar.push_back(textOf(element, "jar_name")); });
}

void RuleParser::loadVersionZip(cJSON* versions, SOFTWARE_RULE_S& record) {
  getZipRegexArrayEx(arrayOf(versions, "version_zip"), "path_base", "path_zip", "path_file",
                     "out_regex", record.versionZip);
}

void RuleParser::loadConf(cJSON* rule, SOFTWARE_RULE_S& record) {
  cJSON* configure = cJSON_GetObjectItem(rule, "configure");
  readTextList(configure, "conf_cmd", record.confCmd);
  forEachObject(arrayOf(configure, "conf_default"), [&](cJSON* element) {
    PATH_REGEX_S entry{textOf(element, "path_base"), textOf(element, "file"),
                       textOf(element, "file_type")};
    if (entry.fileType.empty()) entry.fileType = "document";
    record.confDefault.push_back(std::move(entry));
  });
}

void RuleParser::loadVar(cJSON* rule, SOFTWARE_RULE_S& record) {
  cJSON* var = cJSON_GetObjectItem(rule, "var");
  getVarArray(arrayOf(var, "var_env"), "var_name", "env", record.varEnv);
  getVarArray(arrayOf(var, "var_cmd"), "var_name", "cmd_param", record.varCmd);
  getVarArray(arrayOf(var, "var_file"), "var_name", "file_regex", record.varFile);
}

void RuleParser::loadCompany(cJSON* rule, std::string& companyZh, std::string& companyEn) {
  cJSON* company = cJSON_GetObjectItem(rule, "company");
  readText(company, "zh-cn", companyZh);
  readText(company, "en-us", companyEn);
}

template <class Rule>
void RuleParser::loadCategory(cJSON* rule, Rule& record) {
  cJSON* category = cJSON_GetObjectItem(rule, "category");
  cJSON* first = cJSON_GetObjectItem(category, "classify1_name");
  readText(first, "zh-cn", record.classify1Zh);
  readText(first, "en-us", record.classify1En);
  cJSON* second = cJSON_GetObjectItem(category, "classify2_name");
  readText(second, "zh-cn", record.classify2Zh);
  readText(second, "en-us", record.classify2En);
  readText(category, "classify_id", record.classifyId);
}

void RuleParser::loadTag(cJSON* rule, std::string& tag) {
  const cJSON* value = cJSON_GetObjectItem(rule, "tag");
  if (value == nullptr) return;
  const MallocText text(cJSON_PrintUnformatted(value));
  if (text) tag = text.get();
}

void RuleParser::getRegexArray(cJSON* array, const char* key1, const char* key2,
                               std::vector<CONTENT_REGEX_S>& out) {
  forEachObject(array, [&](cJSON* element) {
    out.push_back({textOf(element, key1), textOf(element, key2)});
  });
}

void RuleParser::getRegexArrayEx(cJSON* array, const char* key1, const char* key2, const char* key3,
                                 std::vector<CONTENT_REGEX_EX_S>& out) {
  forEachObject(array, [&](cJSON* element) {
    out.push_back({textOf(element, key1), textOf(element, key2), textOf(element, key3)});
  });
}

void RuleParser::getZipRegexArrayEx(cJSON* array, const char* key1, const char* key2,
                                    const char* key3, const char* key4,
                                    std::vector<ZIP_REGEX_EX_S>& out) {
  forEachObject(array, [&](cJSON* element) {
    out.push_back({textOf(element, key1), textOf(element, key2), textOf(element, key3),
                   textOf(element, key4)});
  });
}

void RuleParser::getVarArray(cJSON* array, const char* key1, const char* key2,
                             std::vector<VAR_DEFINE_S>& out) {
  forEachObject(array, [&](cJSON* element) {
    out.push_back({textOf(element, key1), textOf(element, key2)});
  });
}

}  // namespace LedgoraCollect
