#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "common/PathUtils.h"
#include "support/TempRoot.h"

using LedgoraCollect::getFullPath;
using LedgoraCollect::PathUtils;
using LedgoraTest::TempRoot;

TEST(PathText, AddsAndDropsPrefixes) {
  const struct {
    const char *prefix, *path, *added, *dropped;
  } cases[] = {
      {"/rootfs/", "/etc/passwd", "/rootfs/etc/passwd", "/etc/passwd"},
      {"/rootfs", "etc/passwd", "/rootfs/etc/passwd", "etc/passwd"},
      {"/rootfs//x", "/a//b", "/rootfs/x/a/b", "/a/b"},
      {"", "/a//b", "/a/b", "/a/b"},
      {"/r//", "", "/r/", ""},
      {"/rootfs", "/rootfs2/x", "/rootfs/rootfs2/x", "2/x"},
      {"/rootfs/", "/rootfs//home/a", "/rootfs/rootfs/home/a", "/home/a"},
      {"/r", "/r", "/r/r", ""},
      {"/", "/a", "/a", "/a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.prefix) + " + " + c.path);
    EXPECT_EQ(PathUtils::addPrefixPath(c.prefix, c.path), c.added);
    EXPECT_EQ(PathUtils::dropPrefixPath(c.prefix, c.path), c.dropped);
  }
  EXPECT_TRUE(PathUtils::findPrefixPath("/rootfs2/x", "/rootfs"));
  EXPECT_FALSE(PathUtils::findPrefixPath("/roo", "/rootfs"));
  EXPECT_FALSE(PathUtils::findPrefixPath("/a", ""));
}

TEST(PathText, Simple) {
  const struct {
    const char *path, *want;
  } cases[] = {
      {"/a/b/../c/./d/", "/a/c/d"},
      {"/..", "/.."},
      {"/a/..", "/a/.."},
      {"a/b", "/a/b"},
      {"", ""},
      {"//", "/"},
      {"/../../a", "/a"},
      {"/a/./././b/.", "/a/b"},
      {"/a b /c", "/a b /c"},
  };
  for (const auto& c : cases) EXPECT_EQ(PathUtils::getSimplePath(c.path), c.want) << c.path;
  std::vector<std::string> paths{"/a//b", "/a/b/", "/", "", "//", "/x/", "/c/../b"};
  EXPECT_EQ(PathUtils::delDuplicatedPath(paths, "/x"), (std::set<std::string>{"/a/b", "/b"}));
  EXPECT_EQ(PathUtils::getFileDirPath("/a/b"), "/a");
  EXPECT_EQ(PathUtils::getFileDirPath("b"), ".");
  EXPECT_EQ(PathUtils::getFileDirPath(nullptr), "");
}

TEST(PathUtils, MakesDirectories) {
  TempRoot root;
  root.file("file");
  const std::string deep = root.path("a/b/c/");
  EXPECT_EQ(PathUtils::createDir(deep.c_str(), 0755), 0);
  EXPECT_EQ(PathUtils::createDir(deep.c_str(), 0755), 0);
  EXPECT_TRUE(PathUtils::isDir(root.path("a/b/c")));
  EXPECT_EQ(PathUtils::createDir(root.path("file/x/y").c_str(), 0755), -1);
  EXPECT_EQ(PathUtils::createDir(nullptr, 0755), -1);
  EXPECT_EQ(PathUtils::createDir(root.path("w\\x").c_str(), 0755), 0);
}

TEST(PathUtils, AsksAboutTheLinkItself) {
  TempRoot root;
  root.dir("dir").link("dirlink", "dir").link("dangling", "nowhere");
  EXPECT_TRUE(PathUtils::isExist(root.path("dangling")));
  EXPECT_TRUE(PathUtils::isSlink(root.path("dangling")));
  EXPECT_FALSE(PathUtils::isDir(root.path("dirlink")));
  EXPECT_TRUE(PathUtils::isDir(root.path("dirlink/")));
  EXPECT_FALSE(PathUtils::isExist(root.path("missing")));
  std::string out = "kept";
  EXPECT_FALSE(PathUtils::getLinkPath(root.path("dir"), out));
  EXPECT_EQ(out, "kept");
  EXPECT_TRUE(PathUtils::getLinkPath(root.path("dangling"), out));
  EXPECT_EQ(out, "nowhere");
  EXPECT_TRUE(PathUtils::hasSlinkPath(root.path("dirlink/x")));
  EXPECT_TRUE(PathUtils::hasSlinkPath(root.path("dir/../dir")));
  EXPECT_FALSE(PathUtils::hasSlinkPath(root.path("dir")));
}

TEST(PathUtils, RealPathInsideARoot) {
  TempRoot root;
  root.dir("opt/app").link("app", "/opt/app").link("out", "/etc/passwd");
  std::string out;
  EXPECT_TRUE(PathUtils::getRealPath(root.path(), "/app", out));
  EXPECT_EQ(out, "/opt/app");
  EXPECT_TRUE(PathUtils::getRealPath(root.path(), "/opt/app", out));
  EXPECT_EQ(out, "/opt/app");
  EXPECT_FALSE(PathUtils::getRealPath(root.path(), "/out", out));
  EXPECT_TRUE(PathUtils::getRealPath("", root.path("opt/../opt"), out));
  EXPECT_EQ(out, root.path("opt"));
  EXPECT_FALSE(PathUtils::realPath("", out));
  EXPECT_EQ(PathUtils::getLinkedPath(root.path("missing"), ""), root.path("missing"));
}

TEST(FullPath, OfWhatExistsAndOfWhatWillBeMade) {
  TempRoot root;
  root.dir("d").link("l", "d").file("d/f").link("d/loop", "loop").link("d/to", "missing");
  const std::string base = root.path();
  const struct {
    std::string path, want;
  } cases[] = {
      {base + "/l/f", base + "/d/f"},
      {base + "/l/new.json", base + "/d/new.json"},
      {base + "/l/../d/./new", base + "/d/new"},
      {base + "/d/to", base + "/d/to"},
      {base + "/none/new", ""},
      {base + "/d/f/new", ""},
      {base + "/d/loop", ""},
      {"", ""},
      {"/ledgora-no-such-file", "/ledgora-no-such-file"},
      {base + "/" + std::string(5000, 'x'), ""},
  };
  for (auto c : cases) EXPECT_EQ(getFullPath(c.path), c.want) << c.path.substr(0, 100);
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  std::string relative = "ledgora-no-such-file";
  EXPECT_EQ(getFullPath(relative), PathUtils::addPrefixPath(cwd, relative));
}
