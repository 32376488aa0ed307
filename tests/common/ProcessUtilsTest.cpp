#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "common/ProcessUtils.h"
#include "support/TempRoot.h"

namespace LedgoraCollect {
namespace {

using namespace std::string_literals;

bool hasChildren() { return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD; }

bool readInRoot(const std::string& path, std::string& result) {
  result = LedgoraTest::readWhole(path);
  return true;
}
bool fail(const std::string& /*path*/, std::string& result) {
  result = "unused";
  return false;
}
bool giveNothing(const std::string& /*path*/, std::string& /*result*/) { return true; }
bool giveZeroByte(const std::string& /*path*/, std::string& result) {
  result = std::string(70000, 'a') + "\0"s + std::string(200000, 'b');
  return true;
}
bool giveAllThatMay(const std::string& /*path*/, std::string& result) {
  result.assign(0x1400000, 'a');
  return true;
}
bool giveOneMore(const std::string& /*path*/, std::string& result) {
  result.assign(0x1400001, 'a');
  return true;
}
bool die(const std::string& /*path*/, std::string& /*result*/) {
  raise(SIGKILL);
  return true;
}

TEST(ProcessUtils, FunctionInAnotherRoot) {
  LedgoraTest::TempRoot root;
  root.file("etc/name", "inside").link("link", "/etc/name");
  const struct {
    const char* what;
    ProcessUtils::ChrootFunction function;
    std::string root;
    const char* path;
    bool result;
    std::string out;
  } cases[] = {
      {"absolute link stays inside", readInRoot, root.path(), "/link", true, "inside"},
      // A child that failed gives true as well: callers look at the result.
      {"function fails", fail, root.path(), "/link", true, ""},
      {"no result", giveNothing, root.path(), "/link", true, ""},
      {"no such root", readInRoot, "/no/such/root", "/link", true, ""},
      {"cut at a zero byte", giveZeroByte, root.path(), "/", true, std::string(70000, 'a')},
      {"20 MiB", giveAllThatMay, root.path(), "/", true, std::string(0x1400000, 'a')},
      {"killed", die, root.path(), "/", false, ""},
      {"no function", nullptr, root.path(), "/", false, "before"},
      {"empty root", readInRoot, "", "/", false, "before"},
      {"empty path", readInRoot, root.path(), "", false, "before"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::string out = "before";
    EXPECT_EQ(ProcessUtils::executeChrootFunction(c.function, c.root, c.path, out), c.result);
    EXPECT_TRUE(out == c.out) << out.size() << " bytes";
  }
  std::string out;
  EXPECT_FALSE(ProcessUtils::executeChrootFunction(giveOneMore, root.path(), "/", out));
  EXPECT_FALSE(hasChildren());
}

void onChild(int /*number*/) {}

TEST(ProcessUtils, ChildSignalIsRestored) {
  signal(SIGCHLD, SIG_IGN);  // would take the exit status away
  std::string out;
  EXPECT_TRUE(ProcessUtils::executeChrootFunction(readInRoot, "/", "/proc/self/comm", out));
  EXPECT_FALSE(out.empty());
  EXPECT_EQ(signal(SIGCHLD, onChild), SIG_IGN);
  EXPECT_FALSE(ProcessUtils::executeChrootFunction(nullptr, "/", "/", out));
  EXPECT_EQ(signal(SIGCHLD, SIG_DFL), SIG_DFL) << "without a function it is left at default";
}

/// The limit of 30 seconds isn't waited for here: the same way out is taken by
/// a result that is too long while the child's own child holds the pipe.
bool forkAndGiveTooMuch(const std::string& /*path*/, std::string& result) {
  if (fork() == 0) {
    sleep(100);
    _exit(0);
  }
  result.assign(0x1400001, 'a');
  return true;
}

TEST(ProcessUtils, TheWholeGroupIsKilled) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);  // its end tells when the last process is gone
  std::string out;
  EXPECT_FALSE(ProcessUtils::executeChrootFunction(forkAndGiveTooMuch, "/", "/", out));
  close(ends[1]);
  char byte = 0;
  EXPECT_EQ(read(ends[0], &byte, 1), 0);
  close(ends[0]);
}

}  // namespace
}  // namespace LedgoraCollect
