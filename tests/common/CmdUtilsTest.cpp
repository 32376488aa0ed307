#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

#include "common/CmdUtils.h"
#include "common/CommandLines.h"
#include "run/CollectFilter.h"
#include "support/TempRoot.h"

namespace LedgoraCollect {
namespace {

using namespace std::string_literals;

constexpr int kLimit = 20;

std::string show(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line.size() > 20 ? std::to_string(line.size()) : line;
    text += '|';
  }
  return text;
}

TEST(CommandLines, LinesDoNotDependOnTheReads) {
  const std::string longest(4094, 'a');
  const std::string tooLong(4095, 'b');
  const std::string muchTooLong(20000, 'c');
  const struct {
    const char* what;
    std::string output;
    const char* want;
  } cases[] = {
      {"nothing", "", ""},
      {"two lines", "one\ntwo\n", "one|two|"},
      {"last one without end", "one\ntwo", "one|two|"},
      {"empty lines are dropped", "\n\none\n\n\ntwo\n\n", "one|two|"},
      {"only empty lines", "\n\n\n", ""},
      {"blanks are a line", "  \n\t\n", "  |\t|"},
      {"nothing is trimmed", " a \r\n", " a \r|"},
      {"longest line", longest + "\nx\n", "4094|x|"},
      {"longest line, last", "x\n" + longest, "x|4094|"},
      {"one more", tooLong + "\nx\n", "x|"},
      {"one more, last", "x\n" + tooLong, "x|"},
      {"much more", "x\n" + muchTooLong + "\ny\n" + muchTooLong, "x|y|"},
      {"zero byte cuts its line", "on\0e\ntwo\n"s, "on|two|"},
      {"zero byte first", "\0one\ntwo"s, "two|"},
      {"zero byte in a long line", "a\0"s + muchTooLong + "\nb\n", "a|b|"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (const std::size_t step :
         {std::size_t{1}, std::size_t{7}, std::size_t{4095}, std::size_t{100000}}) {
      CommandLines lines;
      for (std::size_t at = 0; at < c.output.size(); at += step) {
        lines.append(std::string_view(c.output).substr(at, step));
      }
      lines.finish();
      EXPECT_EQ(show(lines.lines), c.want) << "in pieces of " << step;
    }
  }
}

TEST(CmdUtils, LineForm) {
  const struct {
    const char* what;
    const char* command;
    bool result;
    const char* want;
  } cases[] = {
      {"lines", "printf 'a\\n\\nb'; exit 4", true, "a|b|"},
      {"nothing printed is a failure", "true", false, ""},
      {"only empty lines are one too", "echo; echo", false, ""},
      {"long line dropped", "head -c 5000 /dev/zero | tr '\\0' a; echo; echo b", true, "b|"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<std::string> lines{"before"};
    EXPECT_EQ(CmdUtils::execCmd(c.command, lines, kLimit, 1, nullptr), c.result);
    EXPECT_EQ(show(lines), c.want);
  }
  std::vector<std::string> lines{"before"};
  EXPECT_FALSE(CmdUtils::execCmd(nullptr, lines, kLimit, 1, nullptr));
  EXPECT_FALSE(CmdUtils::execCmd("echo a; sleep 100", lines, 1, 1, nullptr));
  EXPECT_EQ(errno, kCommandStopped);
  EXPECT_EQ(show(lines), "before|") << "a stopped command assigns nothing";
}

TEST(CmdUtils, LinesOfAnEndlessWriterAreBounded) {
  std::vector<std::string> lines;
  // 64 bytes a line, 128 MiB in all.
  const std::string command = "yes " + std::string(63, 'a') + " | head -c 134217728";
  EXPECT_TRUE(CmdUtils::execCmd(command.c_str(), lines, 120, 1, nullptr));
  EXPECT_LT(lines.size() * (63 + sizeof(std::string)), std::size_t{65} << 20);
  EXPECT_GT(lines.size(), std::size_t{500000});
}

TEST(CmdUtils, BufferForm) {
  char buffer[8];
  EXPECT_TRUE(CmdUtils::execCmd("printf 12345678; exit 1", buffer, 8, kLimit, 1, "X=1;"));
  EXPECT_STREQ(buffer, "1234567");
  EXPECT_FALSE(CmdUtils::execCmd("echo a; sleep 100", buffer, 8, 1, 1, nullptr));
  EXPECT_EQ(errno, kCommandStopped);
  EXPECT_STREQ(buffer, "a\n");
  EXPECT_FALSE(CmdUtils::execCmd("true", buffer, 0, kLimit, 1, nullptr));
  EXPECT_FALSE(CmdUtils::execCmd("true", nullptr, 8, kLimit, 1, nullptr));
  EXPECT_FALSE(CmdUtils::execCmd(static_cast<const char*>(nullptr), buffer, 8, kLimit, 1, nullptr));

  setenv("LD_LIBRARY_PATH", "/tmp/none", 1);
  char path[32];
  EXPECT_TRUE(execCmd("echo \"[$LD_LIBRARY_PATH]\"", path, sizeof path, kLimit));
  unsetenv("LD_LIBRARY_PATH");
  EXPECT_STREQ(path, "[]\n");
}

/// The filter is one for the whole program and can't be emptied again: its
/// expression matches nothing else.
TEST(CmdUtils, ForbiddenCommandsAreNotRun) {
  LedgoraTest::TempRoot tree;
  tree.file("filter.json", "{\"cmd_disable\":[\"touch .*cmd-utils-forbidden\"]}");
  ASSERT_TRUE(CollectFilter::getInstance()->loadFilterFile(tree.path("filter.json").c_str()));
  const std::string command = "echo a; touch " + tree.path("cmd-utils-forbidden");
  char buffer[8] = "before";
  std::vector<std::string> lines{"before"};
  EXPECT_FALSE(CmdUtils::execCmd(command.c_str(), buffer, sizeof buffer, kLimit, 1, nullptr));
  EXPECT_FALSE(CmdUtils::execCmd(command.c_str(), lines, kLimit, 1, nullptr));
  EXPECT_FALSE(execCmd(command.c_str(), buffer, sizeof buffer, kLimit));
  EXPECT_STREQ(buffer, "before");
  EXPECT_EQ(show(lines), "before|");
  EXPECT_FALSE(tree.exists("cmd-utils-forbidden"));
}

}  // namespace
}  // namespace LedgoraCollect
