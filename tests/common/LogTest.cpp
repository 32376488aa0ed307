#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <string>

#include "common/support/Log.h"
#include "common/support/LogFile.h"
#include "common/support/LogRecord.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

TEST(EscapeLogText, HostDataNeverForgeALineNorReachTheTerminal) {
  const struct {
    const char* what;
    std::string text, want;
  } cases[] = {
      {"plain and UTF-8", "name=gr\xC3\xBC\xC3\x9F \xE4\xB8\xAD \\ %s",
       "name=gr\xC3\xBC\xC3\x9F \xE4\xB8\xAD \\ %s"},
      {"line feeds", "a\nb\r\n\tc", "a\\nb\\r\\n\\tc"},
      {"escape sequence", "\x1b[2Jx\x7f", "\\x1b[2Jx\\x7f"},
      {"zero byte", std::string("a\0b", 3), "a\\x00b"},
      {"C1 control as UTF-8",
       "\xC2\x9B"
       "31m\xC2\xA0",
       "\\xc2\\x9b31m\xC2\xA0"},
      {"line separator",
       "a\xE2\x80\xA8"
       "b",
       "a\\xe2\\x80\\xa8b"},
      {"stray continuation", "a\x80z", "a\\x80z"},
      {"cut sequence", "a\xE4\xB8", "a\\xe4\\xb8"},
      {"overlong slash", "\xC0\xAF", "\\xc0\\xaf"},
      {"surrogate", "\xED\xA0\x80", "\\xed\\xa0\\x80"},
      {"beyond the last code point", "\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
      {"last code point", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(escapeLogText(c.text), c.want);
  }
}

TEST(LogRecord, OneLineWithTimeLevelPidAndPlace) {
  const std::string pid = std::to_string(::getpid());
  const std::regex form(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4} W )" + pid +
                        R"( collect:42 it\\nends\n)");
  EXPECT_TRUE(std::regex_match(formatLogRecord(1, "collect", 42, "it\nends"), form));
}

TEST(LogFile, RotatesOnceOverTheLimitAndKeepsSoMany) {
  TempRoot root;
  constexpr long long kLimit = 10;
  for (const char* run :
       {"first....\n", "second....\n", "third.....\n", "fourth....\n", "fifth\n"}) {
    LogFile log;
    ASSERT_TRUE(log.open(root.path().c_str(), 2, kLimit));
    log.write(run);
  }
  EXPECT_EQ(root.read("collect.log"), "fifth\n");
  EXPECT_EQ(root.read("collect.log.1"), "fourth....\n");
  EXPECT_EQ(root.read("collect.log.2"), "third.....\n");
  EXPECT_FALSE(root.exists("collect.log.3"));
  struct stat info {};
  ASSERT_EQ(::stat(root.path("collect.log").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777 & ~0640U, 0U);
}

TEST(LogFile, RunThatIsWritingDoesNotLoseItsFile) {
  TempRoot root;
  LogFile writing;
  ASSERT_TRUE(writing.open(root.path().c_str(), 1, 10));
  writing.write("more than ten bytes\n");
  LogFile later;
  ASSERT_TRUE(later.open(root.path().c_str(), 1, 10));
  writing.write("tail\n");
  later.write("new\n");
  EXPECT_EQ(root.read("collect.log.1"), "more than ten bytes\ntail\n");
  EXPECT_EQ(root.read("collect.log"), "new\n");
}

TEST(LogFile, RefusesLinksAndFifos) {
  TempRoot root;
  root.file("victim", "keep").link("a/collect.log", root.path("victim")).fifo("b/collect.log");
  for (const char* directory : {"a", "b", "missing"}) {
    SCOPED_TRACE(directory);
    EXPECT_FALSE(LogFile().open(root.path(directory).c_str(), 5, 0));
  }
  EXPECT_EQ(root.read("victim"), "keep");
}

// Each of these runs in a program of its own, because a process has one log.
class LogRun : public testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

namespace {

/// Sends a standard stream to a file of the tree.
void redirect(const TempRoot& root, int stream, const char* name) {
  const int file = ::open(root.path(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ::dup2(file, stream);
  ::close(file);
}

[[noreturn]] void logBeforeAndAfterOpening() {
  int wrong = 0;
  {
    TempRoot root;
    redirect(root, STDOUT_FILENO, "stdout");
    root.dir("log");
    error_output(2, "early", 1, "number %d", 1);
    error_output(3, "early", 2, "above the verbosity");
    autolog_init(root.path("log").c_str(), 5);
    error_output(0, "late", 3, "forged\n%s", "2026 E");
    error_output_text(1, "late", 4, "50% s of %n");
    error_output(2, "late", 5, "%s", std::string(5000, 'x').c_str());
    int evaluated = 0;
    LEDGORA_DEBUG("%d", ++evaluated);
    const std::string log = root.read("log/collect.log");
    const std::regex form(
        ".* I \\d+ early:1 number 1\n.* E \\d+ late:3 forged\\\\n2026 E\n"
        ".* W \\d+ late:4 50% s of %n\n.* I \\d+ late:5 x{5000}\n");
    if (!std::regex_match(log, form)) wrong |= 1;
    if (!root.read("stdout").empty()) wrong |= 2;
    if (evaluated != 0) wrong |= 4;
    s_t_module_log.verbosity = 3;
    LEDGORA_DEBUG("%d", ++evaluated);
    if (evaluated != 1) wrong |= 8;
  }
  std::exit(wrong);
}

}  // namespace

TEST_F(LogRun, KeepsEarlyRecordsAndWritesNothingToStandardOutput) {
  EXPECT_EXIT(logBeforeAndAfterOpening(), testing::ExitedWithCode(0), "");
}

TEST_F(LogRun, ThatNeverOpensTellsItsErrorsAtExit) {
  const auto neverOpens = [] {
    for (int i = 0; i < 300; ++i) error_output(2, "f", i, "progress");
    error_output(0, "f", 2, "broken");
    std::exit(0);
  };
  EXPECT_EXIT(neverOpens(), testing::ExitedWithCode(0), " E [0-9]+ f:2 broken\n$");
}
