#include <gtest/gtest.h>

#include "software/CollectRuleParser.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

namespace {

using RuleMap = std::map<std::string, SOFTWARE_RULE_S>;

RuleMap processRules(const std::string& text, bool expected = true) {
  TempRoot tree;
  tree.file("rules.json", text);
  std::string path = tree.path("rules.json");
  RuleMap rules;
  EXPECT_EQ(RuleParser().loadProcSoftwareRule(path.data(), rules), expected);
  return rules;
}

std::vector<INSTALL_SOFTWARE_CONFIG_S> packageRules(const std::string& text) {
  TempRoot tree;
  tree.file("rules.json", text);
  std::string path = tree.path("rules.json");
  std::vector<INSTALL_SOFTWARE_CONFIG_S> rules;
  EXPECT_TRUE(RuleParser().loadInstallSoftwareRule(path.data(), rules));
  return rules;
}

std::string join(const std::vector<std::string>& texts) {
  std::string out;
  for (const std::string& text : texts) out += text + "|";
  return out;
}

}  // namespace

TEST(ProcessRules, EveryFieldComesFromItsPlace) {
  const RuleMap rules = processRules(R"([{
    "name": "srv", "id": "7", "app_type": "web", "belong": "2", "cmdline_type": "linux",
    "key_path": ["$home", "/opt/srv"], "related_proc": ["a"], "tag": {"a": [1, null]},
    "character": {"pattern": ["srvd"], "pattern_cmd": ["--srv"], "pattern_process": [
      {"process_name": "^srv$", "cmdline_regex": "run", "priority": "high",
       "character_file": [{"file_path": "x", "manifest_regex": "m", "content_regex": "c"}, {}]}]},
    "configure": {"conf_cmd": ["c"], "conf_default": [
      {"path_base": "/etc", "file": "f"}, {"file": "d", "file_type": "directory"}]},
    "var": {"var_env": [{"var_name": "home", "env": "SRV_HOME"}],
            "var_cmd": [{"var_name": "base", "cmd_param": "b"}],
            "var_file": [{"var_name": "lib", "file_regex": "\\.so$"}]},
    "versions": {"version_zip": [{"path_base": "1", "path_zip": "2", "path_file": "3", "out_regex": "4"}],
                 "version_cmd": [{"cmd_param": "-v", "out_regex": "r"}],
                 "version_env": ["V"], "version_jar": [{"jar_name": "j"}],
                 "version_file": [{"path_base": "1", "path_file": "2", "out_regex": "3"}],
                 "version_elf": ["e"],
                 "var_version_cmd": [{"path_base": "1", "cmd": "2", "out_regex": "3", "version_shell_format": "4"}]},
    "company": {"zh-cn": "z", "en-us": "e"},
    "category": {"classify_id": "42", "classify1_name": {"zh-cn": "z1", "en-us": "e1"}}}])");
  ASSERT_EQ(rules.count("srv"), 1u);
  const SOFTWARE_RULE_S& rule = rules.at("srv");
  EXPECT_EQ(rule.id + rule.appType + rule.belong + rule.cmdlineType, "7web2linux");
  EXPECT_EQ(join(rule.keyPath), "$home|/opt/srv|");
  EXPECT_EQ(rule.tag, R"({"a":[1,null]})");
  EXPECT_EQ(join(rule.pattern) + join(rule.patternCmd), "srvd|--srv|");
  ASSERT_EQ(rule.patternProcess.size(), 1u);
  EXPECT_EQ(rule.patternProcess[0].priority, "high");
  ASSERT_EQ(rule.patternProcess[0].characterFile.size(), 2u);  // one without keys counts
  EXPECT_EQ(rule.patternProcess[0].characterFile[0].manifestRegex, "m");
  ASSERT_EQ(rule.confDefault.size(), 2u);
  EXPECT_EQ(rule.confDefault[0].fileType, "document");
  EXPECT_EQ(rule.confDefault[1].fileType, "directory");
  EXPECT_EQ(
      rule.varEnv.at(0).varSource + rule.varCmd.at(0).varSource + rule.varFile.at(0).varSource,
      "SRV_HOMEb\\.so$");
  // In the order in which the rule writes them; commands aren't among them.
  EXPECT_EQ(join(rule.versionMethods),
            "version_zip|version_env|version_jar|version_file|version_elf|");
  EXPECT_EQ(rule.versionCmd.at(0).outRegex + rule.versionVarCmd.at(0).versionShellFormat, "r4");
  EXPECT_EQ(
      rule.versionZip.at(0).pathFile + rule.versionFile.at(0).outRegex + rule.versionJar.at(0),
      "33j");
  EXPECT_EQ(rule.companyEn + rule.classifyId + rule.classify1Zh, "e42z1");
}

TEST(ProcessRules, WhatIsOfAnotherTypeIsAbsent) {
  const RuleMap rules = processRules(R"([
    {"id": "nameless"}, {"name": 5}, "text", null,
    {"name": "a", "id": 1, "belong": 5, "tag": null, "key_path": "x",
     "character": {"pattern": {"0": "x"}, "pattern_process": [1, {"process_name": 2}]}},
    {"name": "a", "id": "second"}, {"name": "b"}])");
  ASSERT_EQ(rules.size(), 2u);
  const SOFTWARE_RULE_S& rule = rules.at("a");
  EXPECT_EQ(rule.id, "");
  EXPECT_EQ(rule.belong, "");
  EXPECT_EQ(rules.at("b").belong, "1");
  EXPECT_EQ(rule.tag, "null");
  EXPECT_TRUE(rule.keyPath.empty() && rule.pattern.empty());
  ASSERT_EQ(rule.patternProcess.size(), 1u);
  EXPECT_EQ(rule.patternProcess[0].processName, "");
}

TEST(ProcessRules, FilesWithoutRules) {
  EXPECT_TRUE(processRules("[]").empty());
  EXPECT_TRUE(processRules(R"({"x": {"name": "no element of an array"}})").empty());
  EXPECT_TRUE(processRules("[{", false).empty());
  EXPECT_TRUE(processRules("", false).empty());
}

TEST(PackageRules, KeepFileOrderAndTheirOwnDefault) {
  const auto rules = packageRules(R"([{"appname": "z", "belong": 5,
    "configure": {"binpath": ["/b"], "confpath": ["/c"]},
    "pkgname": {"rpm_pkg": ["r"], "dpkg_pkg": ["d", 3]}}, {"id": "x"}, {"appname": "a", "belong": "3"}])");
  ASSERT_EQ(rules.size(), 2u);
  EXPECT_EQ(rules[0].appName + rules[0].belong + rules[1].appName + rules[1].belong, "z1a3");
  EXPECT_EQ(join(rules[0].binPath) + join(rules[0].confPath) + join(rules[0].rpmPkg) +
                join(rules[0].dpkgPkg),
            "/b|/c|r|d|");
}

TEST(ShippedRules, LoadAndNameEnoughSoftware) {
  std::string path = std::string(LEDGORA_SOURCE_DIR) + "/config/rule/soft/soft_app_linux.json";
  RuleMap rules;
  ASSERT_TRUE(RuleParser().loadProcSoftwareRule(path.data(), rules));
  EXPECT_GE(rules.size(), 25u);
  for (const auto& [name, rule] : rules) {
    EXPECT_FALSE(rule.patternProcess.empty() && rule.pattern.empty() && rule.patternCmd.empty())
        << name << " can never match";
  }
}
