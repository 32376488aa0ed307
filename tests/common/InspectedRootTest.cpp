#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>

#include "common/FileUtils.h"
#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/RootOpen.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

namespace {

/// Everything here holds for the kernel's own resolution and for the walk that old kernels get.
class InARoot : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    allowKernelResolution(GetParam());
    outside.file("secret", "secret").dir("etc");
    outside.file("etc/passwd", "secret");
    InspectedRoot::setEnvironment(root.path());
  }
  void TearDown() override {
    InspectedRoot::setEnvironment("");
    allowKernelResolution(true);
  }

  std::string content(const std::string& name) const {
    std::string out;
    return FileUtils::readFileContent(root.path() + name, out, 1000, 0) ? out : "-";
  }
  std::string linked(const std::string& name) const {
    const std::string result = PathUtils::getLinkedPath(root.path() + name, root.path());
    const bool inside = result.compare(0, root.path().size(), root.path()) == 0;
    return inside ? result.substr(root.path().size()) : "outside: " + result;
  }
  std::string up() const { return "../../../../../../../../../../../.."; }

  TempRoot root, outside;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(ByKernelAndByWalk, InARoot, testing::Bool());

TEST_P(InARoot, LinksLeadWhereAProcessOfTheRootIsLed) {
  root.file("usr/lib/os-release", "ours")
      .link("etc/os-release", "../usr/lib/os-release")
      .file("opt/alt/f", "alt")
      .link("etc/alt", "/opt/alt")
      .link("python3", "python3.11")
      .file("python3.11", "py")
      .link("lib", "usr/lib")
      .link("abs", outside.path("secret"))
      .link("rel", up() + outside.path("secret"))
      .link("climb", up() + "/opt/alt/f")
      .link("dots", "/../../opt/./alt/../alt/f")
      .link("loop", "loop2")
      .link("loop2", "/loop")
      .link("dangling", "/no/such")
      .link("top", "/")
      .link("slash", "/opt/alt/")
      .file(" blank /f ", "blank");
  const struct {
    const char *name, *linked, *content;
  } cases[] = {
      {"/etc/os-release", "/usr/lib/os-release", "ours"},
      {"/etc/alt/f", "/opt/alt/f", "alt"},
      {"/python3", "/python3.11", "py"},
      {"/lib/os-release", "/usr/lib/os-release", "ours"},
      {"/etc//./alt/f", "/opt/alt/f", "alt"},
      {"/./opt//alt/f", "/./opt/alt/f", "alt"},
      {"/climb", "/opt/alt/f", "alt"},
      {"/dots", "/opt/alt/f", "alt"},
      {"/top/etc/alt/f", "/opt/alt/f", "alt"},
      {"/slash/f", "/opt/alt//f", "alt"},
      {"/dangling", "/no/such", "-"},
      {"/dangling/x", "/no/such/x", "-"},
      {"/missing/../etc", "/missing/../etc", "-"},
      {"/ blank /f ", "/ blank /f ", "blank"},
      {"/../../opt/alt/f", "/opt/alt/f", "alt"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(content(c.name), c.content);
    EXPECT_EQ(content(linked(c.name)), c.content);
    EXPECT_EQ(linked(c.name), c.linked);
  }
  for (const char* name : {"/abs", "/rel", "/loop"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(content(name), "-");
    EXPECT_EQ(content(linked(name)), "-");
    EXPECT_TRUE(PathUtils::isSlink(root.path() + name));
    EXPECT_FALSE(existsInspected(root.path() + name));
  }
}

TEST_P(InARoot, ARelativeLinkToADirectoryKeepsItsNameInTheText) {
  root.file("a/b/f", "f").dir("a/c").link("a/c/link", "../b").dir("a/b/sub").link("deep", "a/b");
  std::string out;
  EXPECT_TRUE(PathUtils::getEndLinkPath(root.path("a/b"), root.path(), out, 0));
  EXPECT_EQ(out, root.path("a/b"));
  // "link" is "a/b"; "../b" from there is "a/b" again.
  EXPECT_TRUE(PathUtils::getEndLinkPath(root.path("a/c/link"), root.path(), out, 0));
  EXPECT_EQ(out, root.path("a/c/link/../b"));
  EXPECT_EQ(content("/a/c/link/../b/f"), "f");
  EXPECT_FALSE(PathUtils::getEndLinkPath(root.path("deep"), root.path(), out, 0));
  EXPECT_EQ(out, root.path("deep/a/b"));
  EXPECT_EQ(linked("/deep/f"), "/a/b/f");
}

TEST_P(InARoot, AChainIsFollowedTenLinksDeep) {
  for (int i = 1; i <= 12; ++i) {
    root.link("l" + std::to_string(i), "/l" + std::to_string(i + 1));
  }
  root.file("l13", "end");
  std::string out;
  EXPECT_TRUE(PathUtils::getEndLinkPath(root.path("l1"), root.path(), out, 0));
  EXPECT_EQ(out, root.path("l11"));
  EXPECT_EQ(linked("/l1"), "/l11");
  EXPECT_EQ(content("/l11"), "end");
  EXPECT_TRUE(PathUtils::getEndLinkPath(root.path("l4"), root.path(), out, 0));
  EXPECT_EQ(out, root.path("l13"));
}

TEST_P(InARoot, ADirectoryThatIsALinkToTheHosts) {
  root.link("etc", "/etc").link("var", up() + outside.path()).link("here", ".");
  EXPECT_EQ(content("/etc/passwd"), "-");
  EXPECT_EQ(content("/var/secret"), "-");
  std::vector<std::string> entries;
  bool (*all)(const std::string&, std::vector<std::string>&) = nullptr;
  EXPECT_FALSE(FileUtils::readDirFiles(root.path("etc"), all, entries));
  EXPECT_FALSE(FileUtils::readDirFiles(root.path("var/etc"), all, entries));
  EXPECT_TRUE(FileUtils::readDirFiles(root.path("here"), all, entries));
  EXPECT_EQ(entries.size(), 3U);
  std::string passwd = root.path("etc/passwd"), out;
  EXPECT_EQ(FileUtils::getFileModifyTime(passwd), "");
  EXPECT_FALSE(PathUtils::isExist(passwd));
  // A chain that starts behind such a link is told by where it really lies.
  root.remove("etc");
  root.link("etc", "/real").file("real/passwd", "inner");
  EXPECT_TRUE(PathUtils::getEndLinkPath(passwd, root.path(), out, 0));
  EXPECT_EQ(out, root.path("real/passwd"));
  EXPECT_EQ(content("/etc/passwd"), "inner");
}

TEST_P(InARoot, NothingButRegularFilesIsOpened) {
  root.fifo("fifo").link("tofifo", "/fifo").file("f", "x");
  EXPECT_EQ(content("/tofifo"), "-");
  EXPECT_FALSE(openInspected(root.path("fifo"), O_RDONLY));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(InspectedPath(root.path("tofifo")));
  const InspectedPath safe(root.path("f"));
  root.remove("f");
  root.link("f", outside.path("secret"));
  EXPECT_EQ(LedgoraTest::readWhole(safe.path()), "x");
}

TEST_P(InARoot, ProcLinksOfThisMachineAreNotFollowed) {
  InspectedRoot::setEnvironment("/");  // the host itself: its links are its own
  EXPECT_TRUE(existsInspected("/proc/self/root/etc"));
  InspectedRoot::setEnvironment("");
  const std::string self = "/proc/" + std::to_string(getpid()) + "/root";
  EXPECT_TRUE(existsInspected(self + "/proc/self/status"));
  EXPECT_TRUE(existsInspected(self));
  EXPECT_TRUE(PathUtils::isSlink(self));
  for (const char* name :
       {"/proc/self/root/etc", "/proc/self/cwd/", "/proc/self/exe", "/proc/thread-self/root/"}) {
    EXPECT_FALSE(existsInspected(self + name)) << name;
  }
  EXPECT_TRUE(PathUtils::isSlink(self + "/proc/self/exe"));
  std::string out;
  EXPECT_TRUE(FileUtils::readFileContent(self + "/proc/self/comm", out, 100, 0));
}

TEST_P(InARoot, ALinkWhoseTextReadsLikeAContainersRoot) {
  // A root with a real proc tree: this machine's root, mounted nowhere, reached by a link.
  outside.link("host", "/");
  const std::string host = outside.path("host");
  const std::string name = "/proc/" + std::to_string(getpid()) + "/root";
  TempRoot inner;
  inner.link("l", name + inner.path()).link("d", name);
  InspectedRoot::setEnvironment(host);
  const std::string path = host + inner.path() + "/l";
  EXPECT_EQ(PathUtils::getLinkedPath(path, host), path);
  EXPECT_EQ(resolveInspected(path), path);
  EXPECT_FALSE(existsInspected(path));
  EXPECT_FALSE(existsInspected(host + inner.path() + "/d"));
  EXPECT_TRUE(existsInspected(host + name + inner.path()));
}

TEST_P(InARoot, AProcTreeThatSomebodyMadeIsNoProcTree) {
  root.link("proc/7/root", outside.path()).dir("proc/8");
  root.link("proc/8/root", "/real").file("real/f", "inner");
  EXPECT_EQ(content("/proc/7/root/secret"), "-");
  EXPECT_EQ(content("/proc/8/root/f"), "inner");
  EXPECT_EQ(PathUtils::getLinkedPath(root.path("proc/7/root/secret"), root.path("proc/7/root"))
                .compare(0, root.path().size(), root.path()),
            0);
}

TEST_P(InARoot, AContainersRootIsItsOwnWorld) {
  root.file("etc/real", "inner").link("etc/link", "/etc/real").link("out", outside.path("secret"));
  root.file("opt/f", "opt").link("app", "/opt");
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    if (chroot(root.path().c_str()) != 0 || write(ready[1], "x", 1) != 1) _exit(1);
    pause();
    _exit(0);
  }
  close(ready[1]);
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  close(ready[0]);
  InspectedRoot::setEnvironment("");
  const std::string prefix = "/proc/" + std::to_string(child) + "/root";
  std::string out;
  EXPECT_TRUE(FileUtils::readFileContent(prefix + "/etc/link", out, 100, 0));
  EXPECT_EQ(out, "inner");
  EXPECT_FALSE(existsInspected(prefix + "/out"));
  EXPECT_EQ(PathUtils::getLinkedPath(prefix + "/app/f", prefix), prefix + "/opt/f");
  EXPECT_EQ(PathUtils::getLinkedPath(prefix + "/app/f", ""), prefix + "/opt/f");
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(existsInspected(prefix + "/etc/real"));
}

TEST_P(InARoot, ThePrefixMayBeALink) {
  root.file("etc/f", "f").link("l", "/etc");
  outside.link("env", root.path());
  const std::string environment = outside.path("env");
  InspectedRoot::setEnvironment(environment + "/");
  EXPECT_EQ(PathUtils::getLinkedPath(environment + "//l/f", environment), environment + "/etc/f");
  EXPECT_TRUE(existsInspected(environment + "/l/f"));
  EXPECT_FALSE(existsInspected(environment + "/../secret"));
  EXPECT_TRUE(existsInspected(environment + "/../etc/f"));
}

TEST_P(InARoot, LinksThatChangeMeanwhile) {
  root.file("d/secret", "inner").dir("x").link("x/l", "/d");
  std::atomic<bool> stop{false};
  std::thread attacker([&] {
    const std::string link = root.path("x/l"), next = root.path("next");
    for (bool out = true; !stop; out = !out) {
      const std::string target = out ? up() + outside.path() : "/d";
      if (symlink(target.c_str(), next.c_str()) != 0) return;
      rename(next.c_str(), link.c_str());
      // A directory that is moved away while ".." is resolved in it.
      rename(root.path("d").c_str(), (outside.path() + "/moved").c_str());
      rename((outside.path() + "/moved").c_str(), root.path("d").c_str());
    }
  });
  int inner = 0;
  for (int i = 0; i < 1000; ++i) {
    for (const char* name : {"/x/l/secret", "/d/../x/l/secret", "/d/../../secret"}) {
      const std::string found = content(name);
      ASSERT_NE(found, "secret");
      if (found == "inner") ++inner;
      ASSERT_NE(content(linked(name)), "secret");
    }
  }
  stop = true;
  attacker.join();
  EXPECT_GT(inner, 0);
}
