#include <gtest/gtest.h>
#include <unistd.h>

#include "support/DocumentView.h"
#include "support/ProgramRun.h"
#include "support/RootPrograms.h"

using namespace LedgoraTest;

namespace {

const std::vector<const char*> kVariable{"env_name", "env_value", "env_type", "env_user"};

bool holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

TEST(EnvInfo, OwnVariablesFirstThenTheShells) {
  ProgramRun program;
  program.tree().file("config/log.ini", "[log]\nlevel=3\n");
  program.tree().file("home/.bash_profile",
                      "export LOGIN_ONLY=top-secret-login OWN_TEXT=not-this\n"
                      "export LOGIN_KEY='-----BEGIN KEY-----\ntopsecretline\ntopsecretlast=\n'\n");
  program.environment("HOME", program.tree().path("home"))
      .environment("OWN_TEXT", "it's \"top-secret\"\nsecond top-secret line=\n")
      .environment("EMPTY", "")
      .environment("histchars", "!^#")
      .environment("HISTCHARS", "x")
      .environment("LC_ALL", "C");
  const ProgramResult result = program.type(20);
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  const std::string rows = documentRows(result.document, kVariable);
  EXPECT_TRUE(holds(rows, "OWN_TEXT|it's \"top-secret\"\nsecond top-secret line=\n|user|"));
  EXPECT_FALSE(holds(rows, "OWN_TEXT|not-this"));
  EXPECT_TRUE(holds(rows, "\nLOGIN_ONLY|top-secret-login|user|"));
  EXPECT_TRUE(holds(rows, "\nhistchars|!^#|system|"));
  EXPECT_TRUE(holds(rows, "\nHISTCHARS|x|user|"));
  EXPECT_FALSE(holds(rows, "\nEMPTY|"));
  EXPECT_FALSE(holds(rows, "LC_ALL"));
  EXPECT_FALSE(holds(rows, "LEDGORA_START_TIME"));
  EXPECT_LT(rows.find("HISTCHARS|"), rows.find("LOGIN_ONLY|"));
  for (const char* secret : {"top-secret", "topsecret"}) {
    EXPECT_FALSE(holds(result.log + result.out + result.err, secret)) << result.log;
  }
}

TEST(EnvInfo, LimitCountsBothSources) {
  ProgramRun program;
  for (int i = 0; i < 20; ++i) program.environment("V" + std::to_string(i), "x");
  const struct {
    const char* limit;
    int most;
    int least;
  } cases[] = {{"10", 10, 10}, {"0", 256, 21}, {"-1", 0, 0}, {"4294967295", 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.limit);
    program.tree().file("config/hostlimit.ini",
                        std::string("[host_limit]\nE_HOST_ENV=") + c.limit + "\n");
    const int count = documentCount(program.type(20).document);
    EXPECT_LE(count, c.most);
    EXPECT_GE(count, c.least);
  }
}

TEST(EnvInfo, OfAMountedRootComesFromItsShell) {
  TempRoot root;
  copyShells(root);
  root.file("etc/profile", "export FROM_ROOT='a b' ZED=1\n");
  ProgramRun program;
  program.environment("OWN_TEXT", "of the tool");
  const ProgramResult result = program.type(20, {"env=" + root.path()});
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  const std::string rows = documentRows(result.document, kVariable);
  EXPECT_TRUE(holds(rows, "FROM_ROOT|a b|user|\n")) << result.log;
  EXPECT_LT(rows.find("FROM_ROOT|"), rows.find("ZED|"));
  EXPECT_FALSE(holds(rows, "OWN_TEXT"));
  EXPECT_FALSE(holds(rows, "LEDGORA_START_TIME"));
  EXPECT_FALSE(root.exists("dev/null"));
  TempRoot withoutShell;
  EXPECT_EQ(program.type(20, {"env=" + withoutShell.path()}).document, "{\"list\":[]}");
}
