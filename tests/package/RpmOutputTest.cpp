#include <gtest/gtest.h>

#include "package/RpmCmdCollectionUnit.h"

namespace LedgoraCollect {
namespace {

std::string show(const SoftwarePkgCacheUnit& unit) {
  return unit.getPackageType() + "|" + unit.getPackageName() + "|" + unit.getPackageVersion() +
         "|" + unit.getPackageInstallTime() + "|" + unit.getPackageSize() + "|" +
         unit.getPackageDescription() + "|" + unit.getPackageKey();
}

std::string record(const std::string& text) {
  SoftwarePkgCacheUnit unit;
  return RpmCmdCollectionUnit::parseQFResult(text, unit) ? show(unit) : "none";
}

TEST(RpmRecord, AnswersAsRpmGivesThem) {
  const struct {
    const char* what;
    std::string text, want;
  } cases[] = {
      {"plain", "bash###5.1.8-6.el9###1700000000###7738634###The GNU shell.",
       "rpm|bash|5.1.8-6.el9|1700000000000|7738634|The GNU shell.|"
       "bash5.1.8-6.el917000000000007738634"},
      {"several lines and tabs", "a###1-1###1###2###one\n\ttwo\n\nthree\t.",
       "rpm|a|1-1|1000|2|one two  three.|a1-110002"},
      {"no install time", "a###1-1######2###d", "rpm|a|1-1||2|d|a1-12"},
      {"blanks around fields", " a ### 1-1 ###1###2### d \n", "rpm|a|1-1|1000|2|d|a1-110002"},
      {"empty description has four fields", "a###1-1###1###2###", "none"},
      {"two owners run together", "a###1-1###1###2###first descb###2-1###3###4###second",
       "rpm|a|1-1|1000|2|first descb|a1-110002"},
      {"no owner", "file /tmp/x is not owned by any package\n", "none"},
      {"nothing", "", "none"},
      {"cut", "a###1-1###1###2", "none"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(record(c.text), c.want);
  }
}

TEST(RpmListing, OneUnitPerRecordInOrder) {
  std::vector<SoftwarePkgCacheUnit> list;
  RpmCmdCollectionUnit::parseQAResult(
      "zlib###1.2-3###5###7###z lib|##|empty###1-1###5###7###|##|######5###7###nameless|##|"
      "bash###5-1###5###7###a # b ## c|##|cut###1-1###5",
      list);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].getPackageName(), "zlib");
  EXPECT_EQ(list[1].getPackageDescription(), "a # b ## c");
}

TEST(RpmFileList, FilterDecidesAndWithoutOneTheListIsReplaced) {
  RpmCmdCollectionUnit unit;
  std::vector<std::string> files{"/before"};
  unit.parseQLResult("/bin/a\n/etc/b\n", files,
                     [](const std::string&, const std::string&, const std::string& path) {
                       return path == "/etc/b";
                     });
  EXPECT_EQ(files, (std::vector<std::string>{"/before", "/bin/a"}));
  unit.parseQLResult("/bin/a\n/etc/b\n", files, nullptr);
  EXPECT_EQ(files, (std::vector<std::string>{"/bin/a", "/etc/b"}));
}

// Each of these would be more than one plain word for the shell or for rpm.
TEST(RpmOwnerQuestion, PathsThatAreNoPlainWordsAreNeverAsked) {
  RpmCmdCollectionUnit unit;
  for (const std::string path :
       {"/x;touch /tmp/y", "/x$(id)", "/x`id`", "/x'y", "/a\nb", "-e", "/a --pipe=id",
        "/a\t--eval=x", "/usr/bin/*", "/a #b", "/a|b", "/a>b", "/a&"}) {
    SCOPED_TRACE(path);
    SoftwarePkgCacheUnit owner;
    EXPECT_EQ(unit.queryOwner(path, owner), RpmCmdCollectionUnit::Ownership::NoAnswer);
  }
}

}  // namespace
}  // namespace LedgoraCollect
