#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <filesystem>

#include "common/support/Handles.h"
#include "common/support/InstallPath.h"
#include "run/ExecLua.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

namespace {

/// The runner is looked for beside the running program, so here beside the
/// test program.
class Runner {
 public:
  explicit Runner(const std::string& script) {
    TempRoot built;
    built.file("lloader", "#!/bin/sh\n" + script + "\n", 0755);
    std::filesystem::copy_file(built.path("lloader"), mPath,
                               std::filesystem::copy_options::overwrite_existing);
  }
  ~Runner() { std::filesystem::remove(mPath); }

 private:
  std::string mPath = installPath("@/lloader");
};

int collect(const std::string& outputPath) {
  return execLua(outputPath.c_str(), "/log", static_cast<COLLECT_TYPE_E>(9), "env=", 5);
}

/// The place of the runner is one for all tests of this program, which run
/// side by side.
class ExecLua : public testing::Test {
 protected:
  void SetUp() override {
    mLock.reset(open(installPath("@/lloader.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(mLock.get(), LOCK_EX), 0);
  }

 private:
  FileDescriptor mLock;
};

}  // namespace

TEST_F(ExecLua, TheReportedLengthIsTheCode) {
  const struct {
    const char* script;
    int code;
  } cases[] = {
      {"printf 1234", 1234},
      {"printf ' 77 bytes'", 77},
      {"printf 524288", 524288},
      {"printf 524289", -1},
      {"printf 4294967297", -1},
      {"printf -- -1", -1},
      {"printf done; exit 3", 0},
      {"exit 1", 0},
      // Only fifteen characters are read: the zeros in front are all there is.
      {"printf 0000000000000001234", 0},
  };
  for (const auto& c : cases) {
    const Runner runner(c.script);
    EXPECT_EQ(collect("/out"), c.code) << c.script;
  }
  EXPECT_EQ(collect("/out"), 0) << "no runner: a shell that ran and printed nothing";
  EXPECT_EQ(execLua(nullptr, "/log", E_COLLECT_SCRIPT_FIRST, "env=", 0), -1);
}

TEST_F(ExecLua, WhatTheScriptIsGiven) {
  TempRoot root;
  const std::string given = root.path("given");
  const Runner runner("printf '%s|' \"$@\" \"$LD_LIBRARY_PATH\" > " + given);
  const std::string script = installPath("@/../scripts/agent_scripts/collect.lua");
  const std::string libraries = installPath("@/../lib");
  EXPECT_EQ(execLua("/a b", "/log", static_cast<COLLECT_TYPE_E>(12), "env=/mnt/r", 5), 0);
  // Nothing is quoted, so the blank makes two arguments.
  EXPECT_EQ(root.read("given"), script + "|12|/a|b|/log|env=/mnt/r|5|" + libraries + "|");
  root.remove("given");
  EXPECT_EQ(collect("/" + std::string(1024, 'x')), -1);
  EXPECT_FALSE(root.exists("given"));
}
