#include <gtest/gtest.h>

#include "common/InspectedRoot.h"
#include "software/SoftwareSearchFile.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

namespace {

struct Search {
  std::string base;
  std::string root;
  std::string find(const std::string& expression, const std::string& type = "document") {
    PROC_EX_INFO_S proc;
    proc.processBasePath = root;
    std::vector<std::string> bases{base};
    std::string regex = expression;
    std::string fileType = type;
    std::string found;
    softwareSearchFile::getInstance()->searchFileByRule(&proc, bases, regex, found, fileType);
    return found;
  }
};

}  // namespace

TEST(SearchFile, FilesDirectoriesAndLinksByBothNames) {
  TempRoot tree;
  tree.file("conf/app/main.cfg").file("real/target.txt").dir("conf/empty");
  tree.link("conf/alias.txt", "../real/target.txt").link("conf/dangling", "/nowhere/at/all");
  Search search{tree.path("conf"), ""};
  EXPECT_EQ(search.find("main\\.cfg$"), tree.path("conf/app/main.cfg"));
  EXPECT_EQ(search.find("/app$", "directory"), tree.path("conf/app"));
  EXPECT_EQ(search.find("/app$"), "");
  EXPECT_EQ(search.find("alias"), tree.path("conf/alias.txt"));
  EXPECT_EQ(search.find("real/target"), tree.path("real/target.txt"));
  EXPECT_EQ(search.find("dangling"), "");
  EXPECT_EQ((Search{tree.path("missing"), ""}.find("x")), "");
}

TEST(SearchFile, AFailedSearchIsNotWalkedAgain) {
  TempRoot tree;
  tree.file("etc/a.conf");
  Search search{tree.path("etc"), ""};
  EXPECT_EQ(search.find("nothing"), "");
  tree.file("etc/later.conf");
  EXPECT_EQ(search.find("later"), "");  // from memory
  EXPECT_EQ(search.find("a\\.conf"), tree.path("etc/a.conf"));
}

TEST(SearchFile, LoopsAndDepthEnd) {
  TempRoot tree;
  tree.link("loop/self", ".").link("loop/up", "..").file("loop/file");
  EXPECT_EQ((Search{tree.path("loop"), ""}.find("no such name")), "");
  std::string deep = "deep";
  for (int level = 0; level < 16; ++level) deep += "/d";
  tree.file(deep + "/last").file(deep + "/d/beyond");
  EXPECT_EQ((Search{tree.path("deep"), ""}.find("/last$")), tree.path(deep + "/last"));
  EXPECT_EQ((Search{tree.path("deep"), ""}.find("/beyond$")), "");
}

TEST(SearchFile, StaysInTheProcessRoot) {
  TempRoot outside;
  outside.file("secret.conf");
  TempRoot tree;
  tree.file("etc/inside.conf").link("etc/abs", outside.path()).link("etc/inner", "/opt");
  tree.file("opt/in-root.conf");
  InspectedRoot::setEnvironment(tree.path());
  Search search{"/etc", tree.path()};
  EXPECT_EQ(search.find("inside"), "/etc/inside.conf");
  EXPECT_EQ(search.find("secret"), "");
  EXPECT_EQ(search.find("in-root"), "/etc/inner/in-root.conf");
  InspectedRoot::setEnvironment("");
}
