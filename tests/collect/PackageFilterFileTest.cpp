#include <gtest/gtest.h>

#include "collect/CollectInstallPackage.h"
#include "common/support/Handles.h"
#include "support/TempRoot.h"

namespace LedgoraCollect {
namespace {

std::vector<_BLACK_SOFTWARE_> entriesOf(const std::string& json) {
  const JsonHandle file(cJSON_Parse(json.c_str()));
  std::vector<_BLACK_SOFTWARE_> entries;
  CollectInstallPackage::analysisJsonFile(file.get(), entries);
  return entries;
}

std::string joined(const std::vector<std::string>* list) {
  std::string text;
  if (list == nullptr) return "none";
  for (const std::string& each : *list) text += each + " ";
  return text;
}

TEST(PackageFilterFile, ListsAndShapes) {
  const auto entries = entriesOf(
      R"([7, {"belong":["bash",null,3,"zlib"],"filter":[
        {"os_name":"uos_server","black_software":["a"]}, "x", {"black_software":["lost"]},
        {"os_name":"uos_server","black_software":["b", 1]},
        {"os_name":"uos_desktop","black_software":["d"]},
        {"os_name":"kylin_desktop","black_software":["k"]},
        {"os_name":"kylin_server","black_software":["s"]},
        {"os_name":"debian","black_software":["no"]}]},
        {"belong":["second"]}])");
  ASSERT_EQ(entries.size(), 2u);
  const _BLACK_SOFTWARE_& first = entries[0];
  EXPECT_EQ(joined(&first.belong), "bash zlib ");
  const struct {
    const char *osName, *hostType, *want;
  } cases[] = {{"uos", "server", "a b "}, {"uos", "pc", "d "},       {"kylin", "server", "k "},
               {"kylin", "pc", "k "},     {"uos kylin", "pc", "d "}, {"debian", "pc", "none"},
               {"uos", "", "none"},       {"kylin", "other", "none"}};
  for (const auto& c : cases) {
    EXPECT_EQ(joined(CollectInstallPackage::chooseBlackList(first, c.osName, c.hostType)), c.want)
        << c.osName << " " << c.hostType;
  }
  EXPECT_TRUE(entriesOf("[]").empty());
  EXPECT_TRUE(entriesOf(R"({"belong":["bash"]})").empty());
}

// The file that ships: every list is there, and the base list names what the
// base of this kind of machine really has.
TEST(PackageFilterFile, ShippedFile) {
  const auto entries = entriesOf(
      LedgoraTest::readWhole(LEDGORA_SOURCE_DIR "/config/rule/pkg_install/pkg_filter.json"));
  ASSERT_EQ(entries.size(), 1u);
  const auto has = [&](const char* name) {
    return std::find(entries[0].belong.begin(), entries[0].belong.end(), name) !=
           entries[0].belong.end();
  };
  for (const char* base : {"bash", "dpkg", "rpm", "glibc", "libc6", "systemd", "kylin-release"}) {
    EXPECT_TRUE(has(base)) << base;
  }
  EXPECT_FALSE(has("nginx"));
  for (const auto list : {&_BLACK_SOFTWARE_::uosDesktop, &_BLACK_SOFTWARE_::uosServer,
                          &_BLACK_SOFTWARE_::kylinDesktop, &_BLACK_SOFTWARE_::kylinServer}) {
    EXPECT_FALSE((entries[0].*list).empty());
  }
}

}  // namespace
}  // namespace LedgoraCollect
