// What the files of an installation (filter, limits, log level, versions, script runner) do to
// the runs of the built program.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/ProgramRun.h"

using namespace LedgoraTest;

TEST(Installation, ForbiddenTypes) {
  ProgramRun program;
  program.tree().file("config/soft_app_filter.json", R"({"collect_disable":[7,8,14]})");
  ProgramResult result = program.type(14);
  EXPECT_EQ(result.out, "33");
  EXPECT_EQ(result.document, R"({"collect_forbidden":"forbidden"})");
  EXPECT_EQ(result.count("CollectManage collect type: 14 is forbidden by filter json!"), 1);
  EXPECT_EQ(result.count("collect type 14 successful"), 1);
  // The software stage of type 8 is what is forbidden: its document is there,
  // and the run has failed.
  result = program.type(8, {"option=5"});
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.document, R"({"collect_forbidden":"forbidden"})");
  EXPECT_EQ(result.count("collect type 8 failed with error code -1"), 1);
  EXPECT_EQ(result.count("exec lua cmd line"), 0);
  EXPECT_EQ(program.type(1001).count("collect type 1001 successful"), 1);
}

// The whole road of types 8 to 12, with a runner in place of the script's that tells what it
// was given.
TEST(Installation, WebAndDatabaseTypesEndInTheScript) {
  ProgramRun program;
  program.environment("LC_ALL", "de_DE.UTF-8");
  // The system that is looked at holds nothing: what there is to find is of no matter here.
  program.tree().dir("root");
  const std::string root = program.tree().path("root");
  program.tree().remove("bin/lloader");
  program.tree().file("bin/lloader",
                      "#!/bin/sh\n"
                      "case $LEDGORA_START_TIME in 1*000) start=given ;; esac\n"
                      "printf '{\"%s\":\"%s %s\"}' \"$*\" \"$start\" \"${LC_ALL-none}\" > \"$3\"\n"
                      "stat -c %s \"$3\"\n",
                      0755);
  const ProgramResult result = program.type(9, {"option=5", "env=" + root});
  const std::string script = program.tree().path("bin") + "/../scripts/agent_scripts/collect.lua";
  const std::string log = program.tree().path("var/log");
  EXPECT_EQ(result.document, "{\"" + script + " 9 " + program.documentPath() + " " + log +
                                 " env=" + root + " 5\":\"given none\"}");
  EXPECT_EQ(result.out, std::to_string(result.document.size()));
  // The software stage: quick, and without a document of its own.
  EXPECT_EQ(result.count("type 7 with option 3 not required json file"), 1);
  EXPECT_EQ(result.count("collect web/db with type: 9, path: " + program.documentPath()), 1);
  EXPECT_EQ(result.count("collect type 9 successful"), 1);
}

TEST(Installation, EncipheredFilesAreReadLikePlainOnes) {
  ProgramRun program;
  TempRoot& tree = program.tree();
  const std::string filter = tree.path("config/soft_app_filter.json");
  tree.file("config/soft_app_filter.json", R"({"collect_disable":[14]})");
  const std::string protect = tree.path("bin/ledgora_protect");
  ASSERT_EQ(runProgram({protect, filter, filter}).exitStatus, 0);
  EXPECT_EQ(tree.read("config/soft_app_filter.json").find("collect"), std::string::npos);
  EXPECT_EQ(program.type(14).out, "33");
  ASSERT_EQ(runProgram({protect, "--plain", filter, filter}).exitStatus, 0);
  EXPECT_EQ(tree.read("config/soft_app_filter.json"), R"({"collect_disable":[14]})");
}

TEST(Installation, LogLevelOfTheConfiguration) {
  const struct {
    const char* what;
    const char* ini;
    int errors, warnings, steps;
  } cases[] = {
      {"as shipped", "", 1, 1, 1},
      {"errors only", "[log]\nlevel = 0\n", 1, 0, 0},
      {"warnings too", "[log]\nlevel=1\n", 1, 1, 0},
      {"no level", "[log]\nlevel=much\n", 1, 1, 1},
      {"another section", "[logs]\nlevel=0\n", 1, 1, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ProgramRun program;
    program.tree().remove("config/hostlimit.ini");
    if (*c.ini != '\0') program.tree().file("config/log.ini", c.ini);
    const ProgramResult result = program.run({"type=4", "path=/"});
    EXPECT_EQ(result.count("open file / error "), c.errors);
    EXPECT_EQ(std::min(result.count("no ini file @/../config/hostlimit.ini."), 1), c.warnings);
    EXPECT_EQ(result.count("collect type 4 successful"), c.steps);
  }
}

TEST(Installation, Versions) {
  ProgramRun program;
  program.tree()
      .file("agent_version.json",
            R"({"version":2,"package_name":"p","md5":"m\"5","git_commit":"g","x":1})")
      .file("config/rule/fingerprint_version.json", R"({"version":"r)");
  const std::string want =
      R"({"engine_version":"","engine_package":"p","engine_md5":"m\"5","engine_commit_id":"g",)"
      R"("rule_version":"","rule_package":"","rule_commit_id":""})";
  EXPECT_EQ(program.type(1001, {"env=/nowhere"}).document, want);
  EXPECT_EQ(program.run({"version", "path=" + program.documentPath()}).document, want);
  program.tree().remove("agent_version.json");
  program.tree().remove("config/rule/fingerprint_version.json");
  EXPECT_EQ(program.type(1001).document,
            R"({"engine_version":"","engine_package":"","engine_md5":"","engine_commit_id":"",)"
            R"("rule_version":"","rule_package":"","rule_commit_id":""})");
}

TEST(Installation, InstalledVersionsAreThoseOfTheProgram) {
  ProgramRun program;
  const std::string document = program.type(1001).document;
  const std::string sum = runProgram({"/usr/bin/md5sum", program.program()}).out.substr(0, 32);
  EXPECT_NE(document.find("\"engine_md5\":\"" + sum + "\""), std::string::npos) << document;
}

TEST(Installation, LimitsFile) {
  const struct {
    const char* what;
    std::string ini;
    int missingKeys;
    bool empty;
  } cases[] = {
      {"as shipped", "", 0, false},
      {"another section", "[limits]\nE_HOST_PROCESS=0\n", 29, false},
      {"none allowed", "[host_limit]\n E_HOST_PROCESS = 0 \r\n", 28, true},
      {"text", "[host_limit]\nE_HOST_PROCESS=many\n", 28, true},
      {"negative", "[host_limit]\nE_HOST_PROCESS=-1\n", 28, true},
      {"beyond the type", "[host_limit]\nE_HOST_PROCESS=4294967808\n", 28, true},
      {"nothing behind the sign", "[host_limit]\nE_HOST_PROCESS=\n", 29, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ProgramRun program;
    if (!c.ini.empty()) program.tree().file("config/hostlimit.ini", c.ini);
    const ProgramResult result = program.type(3, {"option=1"});
    EXPECT_EQ(result.count("ini_file_get ini fail session:host_limit,key:E_"), c.missingKeys);
    EXPECT_EQ(result.document == R"({"list":[]})", c.empty) << result.document.substr(0, 80);
    EXPECT_EQ(result.out, std::to_string(result.document.size()));
  }
  ProgramRun program;
  program.tree().remove("config/hostlimit.ini");
  const ProgramResult result = program.type(3, {"option=1"});
  EXPECT_GE(result.count("W "), 1);
  EXPECT_GE(result.count("no ini file @/../config/hostlimit.ini."), 1);
  EXPECT_GT(result.document.size(), 100U);
}
