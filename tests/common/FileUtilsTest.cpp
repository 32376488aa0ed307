#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "common/FileUtils.h"
#include "support/TempRoot.h"

using LedgoraCollect::FileUtils;
using LedgoraTest::TempRoot;
using Strings = std::vector<std::string>;

namespace {

std::string content(const std::string& path, int maximum, char replacement = 0) {
  std::string out = "<";
  return FileUtils::readFileContent(path, out, maximum, replacement) ? out : "failed";
}

bool collect(const std::string& line, void* context) {
  static_cast<Strings*>(context)->push_back(line);
  return line == "stop";
}

bool find(const std::string& line, std::string& out) {
  out += line + "|";
  return line == "stop";
}

}  // namespace

TEST(FileUtils, Content) {
  TempRoot root;
  root.file("text", "0123456789")
      .file("zero", std::string_view("ab\0cd", 5))
      .file("empty")
      .dir("dir")
      .fifo("fifo")
      .link("link", "text")
      .link("dangling", "nowhere");
  const struct {
    const char* name;
    int maximum;
    const char* want;
  } cases[] = {
      {"text", 100, "<0123456789"}, {"text", 10, "<0123456789"}, {"text", 4, "<0123"},
      {"text", 0, "failed"},        {"zero", 100, "<ab"},        {"empty", 100, "<"},
      {"link", 100, "<0123456789"}, {"dangling", 100, "failed"}, {"dir", 100, "failed"},
      {"fifo", 100, "failed"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(content(root.path(c.name), c.maximum, ' '), c.want) << c.name << c.maximum;
  }
  EXPECT_EQ(content("", 10), "failed");
}

TEST(FileUtils, ProcContentUpToTheStatedMaximum) {
  const std::string whole = content("/proc/self/cmdline", 1 << 16, ' ');
  ASSERT_GT(whole.size(), 12U);
  EXPECT_EQ(whole.back(), ' ');
  EXPECT_EQ(content("/proc/self/cmdline", 8, ' '), whole.substr(0, 9));
  EXPECT_EQ(content("/proc/self/status", 6), "<Name:\t");
  EXPECT_NE(content("/proc/self/mounts", 1 << 20).find(" /proc proc "), std::string::npos);
}

TEST(FileUtils, Lines) {
  TempRoot root;
  root.file("lines", "one\n\ntwo\r\nstop\nnever\n")
      .file("tail", "one\nno feed")
      .file("empty")
      .dir("dir");
  Strings lines;
  std::string out;
  EXPECT_TRUE(FileUtils::readFileLines(root.path("lines"), collect, &lines));
  EXPECT_EQ(lines, (Strings{"one", "", "two\r", "stop"}));
  EXPECT_TRUE(FileUtils::readFileLines(root.path("lines"), find, out));
  EXPECT_EQ(out, "one||two\r|stop|");
  lines.clear();
  EXPECT_TRUE(FileUtils::readFileLines(root.path("tail"), collect, &lines));
  EXPECT_EQ(lines, (Strings{"one", "no feed"}));
  EXPECT_FALSE(FileUtils::readFileLines(root.path("tail"), find, out));
  lines.clear();
  EXPECT_TRUE(FileUtils::readFileLines(root.path("empty"), collect, &lines));
  EXPECT_EQ(lines, Strings{});
  EXPECT_FALSE(FileUtils::readFileLines(root.path("dir"), collect, &lines));
  EXPECT_FALSE(FileUtils::readFileLines(root.path("missing"), collect, &lines));
  bool (*none)(const std::string&, void*) = nullptr;
  EXPECT_FALSE(FileUtils::readFileLines(root.path("lines"), none, &lines));
}

TEST(FileUtils, SparseFileWithoutALineEndStaysBounded) {
  TempRoot root;
  root.file("sparse", "first\n");
  ASSERT_EQ(truncate(root.path("sparse").c_str(), off_t{1} << 40), 0);
  Strings lines;
  EXPECT_TRUE(FileUtils::readFileLines(root.path("sparse"), collect, &lines));
  EXPECT_EQ(lines, Strings{"first"});
}

TEST(FileUtils, LineAcrossReadsArrivesWhole) {
  TempRoot root;
  const std::string full(65536, 'a');
  root.file("long", full + "\n" + full + "b\n" + "c");
  Strings lines;
  EXPECT_TRUE(FileUtils::readFileLines(root.path("long"), collect, &lines));
  EXPECT_EQ(lines, (Strings{full, full + "b", "c"}));
}

TEST(FileUtils, Directories) {
  TempRoot root;
  root.file("d/a").file("d/.hidden").dir("d/sub").link("d/dangling", "nowhere").file("d/sub/deep");
  Strings paths, slash;
  bool (*all)(const std::string&, Strings&) = nullptr;
  EXPECT_TRUE(FileUtils::readDirFiles(root.path("d"), all, paths));
  std::sort(paths.begin(), paths.end());
  EXPECT_EQ(paths, (Strings{root.path("d/.hidden"), root.path("d/a"), root.path("d/dangling"),
                            root.path("d/sub")}));
  EXPECT_TRUE(FileUtils::readDirFiles(root.path("d") + "/", all, slash));
  std::sort(slash.begin(), slash.end());
  EXPECT_EQ(slash, paths);
  int calls = 0;
  const auto first = [](const std::string&, void* context) {
    ++*static_cast<int*>(context);
    return true;
  };
  EXPECT_TRUE(FileUtils::readDirFiles(root.path("d"), first, &calls));
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(FileUtils::readDirFiles(root.path("d/a"), all, paths));
  EXPECT_FALSE(FileUtils::readDirFiles("", all, paths));
}

TEST(FileUtils, TimesAndJarNames) {
  TempRoot root;
  root.file("f").modified("f", 1700000000).file("old").modified("old", 0);
  std::string file = root.path("f"), old = root.path("old"), missing = root.path("missing");
  EXPECT_EQ(FileUtils::getFileModifyTime(file), "1700000000000");
  EXPECT_EQ(FileUtils::getFileModifyTime(old), "");
  EXPECT_EQ(FileUtils::getFileModifyTime(missing), "");
  EXPECT_TRUE(FileUtils::isJarFile("/opt/a.b.jar"));
  for (const char* name : {"/a.JAR", "/a.jar/b", "/ajar", "jar", "/a.jar.old"}) {
    EXPECT_FALSE(FileUtils::isJarFile(name)) << name;
  }
}
