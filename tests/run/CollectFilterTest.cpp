#include <gtest/gtest.h>

#include "run/CollectFilter.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

namespace {

CollectFilter filterOf(const std::string& json) {
  TempRoot root;
  root.file("filter.json", json);
  CollectFilter filter;
  EXPECT_TRUE(filter.loadFilterFile(root.path("filter.json").c_str()));
  return filter;
}

}  // namespace

TEST(CollectFilter, Processes) {
  const struct {
    const char* what;
    const char* json;
    std::string name, cmdline;
    bool leftOut;
  } cases[] = {
      {"no entries", "{}", "nginx", "nginx -g", false},
      {"disable drops the last suffix", R"({"collect_proc_disable":[{"name":"nginx"}]})",
       "nginx.bin", "", true},
      {"only one suffix is dropped", R"({"collect_proc_disable":[{"name":"nginx"}]})",
       "nginx.bin.old", "", false},
      {"a disable entry with its suffix never matches",
       R"({"collect_proc_disable":[{"name":"nginx.bin"}]})", "nginx.bin", "", false},
      {"only keeps the suffix", R"({"collect_proc_only":[{"name":"nginx"}]})", "nginx.bin", "",
       true},
      {"only, whole name", R"({"collect_proc_only":[{"name":"nginx.bin"}]})", "nginx.bin", "",
       false},
      {"cmdline alone", R"({"collect_proc_disable":[{"cmdline":"--secure"}]})", "any",
       "x --secured", true},
      {"both must match: cmdline differs",
       R"({"collect_proc_disable":[{"name":"java","cmdline":"-Da"}]})", "java", "java -Db", false},
      {"both must match: name differs",
       R"({"collect_proc_disable":[{"name":"java","cmdline":"-Da"}]})", "javac", "java -Da", false},
      {"several entries of one name",
       R"({"collect_proc_disable":[{"name":"java","cmdline":"-Da"},{"name":"java","cmdline":"-Db"}]})",
       "java", "java -Db", true},
      {"case counts", R"({"collect_proc_disable":[{"name":"Java"}]})", "java", "", false},
      {"disable beats only",
       R"({"collect_proc_only":[{"name":"a"}],"collect_proc_disable":[{"name":"a"}]})", "a", "",
       true},
      {"empty and foreign elements are dropped",
       R"({"collect_proc_only":[{},{"name":3},"nginx",null,{"name":"a"}]})", "nginx", "", true},
      {"nothing but dropped elements: no filter", R"({"collect_proc_only":[{},null,7]})", "nginx",
       "", false},
      {"an object is no array", R"({"collect_proc_only":{"x":{"name":"a"}}})", "nginx", "", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    CollectFilter filter = filterOf(c.json);
    std::string name = c.name;
    std::string cmdline = c.cmdline;
    EXPECT_EQ(filter.filterProc(name, cmdline), c.leftOut);
    EXPECT_EQ(name, c.name);
  }
}

TEST(CollectFilter, TypesCommandsAndSoftware) {
  CollectFilter filter = filterOf(R"({"collect_disable":[3,"5",6.9,null,[7]],
      "cmd_disable":["^rpm ","(","dmidecode ",4],
      "collect_soft_disable":["Hidden","Both"],"collect_soft_only":["Shown","Both"]})");
  for (const int type : {3, 6}) EXPECT_TRUE(filter.filterCollectType(type)) << type;
  for (const int type : {0, 5, 7, 8}) EXPECT_FALSE(filter.filterCollectType(type)) << type;

  EXPECT_FALSE(filter.filterCmd("unset LD_LIBRARY_PATH; rpm -qa"));
  EXPECT_TRUE(filter.filterCmd("unset LD_LIBRARY_PATH; chroot /r dmidecode -s x"));
  EXPECT_FALSE(filter.filterCmd(""));

  const struct {
    std::string name;
    bool leftOut;
  } cases[] = {{"Shown", false}, {"shown", true}, {"Hidden", true}, {"Both", true}, {"", true}};
  for (const auto& c : cases) {
    std::string name = c.name;
    EXPECT_EQ(filter.filterSoft(name), c.leftOut) << c.name;
  }
}

TEST(CollectFilter, UnreadableFileForbidsNothing) {
  TempRoot root;
  root.file("cut.json", R"({"collect_disable":[3)");
  for (const char* name : {"cut.json", "missing.json", "."}) {
    CollectFilter filter;
    EXPECT_FALSE(filter.loadFilterFile(root.path(name).c_str())) << name;
    EXPECT_FALSE(filter.filterCollectType(3));
  }
}
