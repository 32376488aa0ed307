#pragma once

#include <cjson/cJSON.h>

#include <map>
#include <string>
#include <vector>

#include "software/RuleModel.h"

namespace LedgoraCollect {

/// Reads the two rule files. Stateless: an instance is a throw-away local.
///
/// Common to all readers: a scalar is taken only when it is a JSON string, a
/// list only when it is a JSON array; anything else leaves the field as it
/// was. Nothing is validated: an expression that doesn't compile fails where
/// it is used.
class RuleParser {
 public:
  /// Adds the rules of the file (a JSON array, plain or enciphered) by name;
  /// of two rules with one name the first stays. False only when the file
  /// gave no JSON.
  bool loadProcSoftwareRule(char* path, std::map<std::string, SOFTWARE_RULE_S>& rules);
  /// Appends the rules of the file in file order; the same contract.
  bool loadInstallSoftwareRule(char* path, std::vector<INSTALL_SOFTWARE_CONFIG_S>& rules);

  void loadCharacter(cJSON* rule, SOFTWARE_RULE_S& record);
  void loadPatternProcess(cJSON* character, SOFTWARE_RULE_S& record);
  void loadCharacterFile(cJSON* pattern, PATTERN_PROCESS_S& record);
  void loadVersion(cJSON* rule, SOFTWARE_RULE_S& record);
  void loadVersionCmd(cJSON* versions, SOFTWARE_RULE_S& record);
  void loadVersionVarCmd(cJSON* versions, SOFTWARE_RULE_S& record);
  void loadVersionFile(cJSON* versions, SOFTWARE_RULE_S& record);
  void loadVersionJar(cJSON* versions, SOFTWARE_RULE_S& record);
  void loadVersionZip(cJSON* versions, SOFTWARE_RULE_S& record);
  void loadConf(cJSON* rule, SOFTWARE_RULE_S& record);
  void loadVar(cJSON* rule, SOFTWARE_RULE_S& record);
  void loadCompany(cJSON* rule, std::string& companyZh, std::string& companyEn);
  template <class Rule>
  void loadCategory(cJSON* rule, Rule& record);
  void loadTag(cJSON* rule, std::string& tag);

  /// Two-string records: "version_cmd".
  void getRegexArray(cJSON* array, const char* key1, const char* key2,
                     std::vector<CONTENT_REGEX_S>& out);
  /// Three-string records: "version_file".
  void getRegexArrayEx(cJSON* array, const char* key1, const char* key2, const char* key3,
                       std::vector<CONTENT_REGEX_EX_S>& out);
  /// Four-string records: "version_zip".
  void getZipRegexArrayEx(cJSON* array, const char* key1, const char* key2, const char* key3,
                          const char* key4, std::vector<ZIP_REGEX_EX_S>& out);
  /// Variables: the name under key1, its source under key2.
  void getVarArray(cJSON* array, const char* key1, const char* key2,
                   std::vector<VAR_DEFINE_S>& out);

 private:
  bool readProcRule(cJSON* rule, SOFTWARE_RULE_S& record);
  bool readInstallRule(cJSON* rule, INSTALL_SOFTWARE_CONFIG_S& record);
};

}  // namespace LedgoraCollect
