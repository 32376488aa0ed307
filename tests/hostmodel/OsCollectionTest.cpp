#include <gtest/gtest.h>

#include "common/InspectedRoot.h"
#include "hostmodel/OsCollection.h"
#include "support/TempRoot.h"

using LedgoraTest::TempRoot;

namespace LedgoraCollect {
namespace {

std::string hostType(const TempRoot& root, const std::string& osName) {
  InspectedRoot::setEnvironment(root.path());
  OsCollection os;
  os.setEnvironment(root.path());
  os.setOsCacheUnit({"", osName});
  const bool decided = os.collect();
  return (decided ? "" : "undecided ") + os.getOsCacheUnit().hostType;
}

TEST(OsCollection, NameDecidesWithoutAFile) {
  const TempRoot empty;
  for (const char* name : {"openeuler", "redhat", "euleros", "centos", "CentOS", "my server"}) {
    EXPECT_EQ(hostType(empty, name), "server") << name;
  }
  for (const char* name : {"kylin", "asianux", "redflag", "uos", "debian", ""}) {
    EXPECT_EQ(hostType(empty, name), "undecided ") << name;
  }
}

TEST(OsCollection, EachFamilyAsksItsOwnFile) {
  const struct {
    const char *what, *osName, *kyinfo, *productinfo, *osRelease, *want;
  } cases[] = {
      {"kyinfo before productinfo", "kylin", "dist_id=Kylin-Desktop-V10\n", "Server\n", "", "pc"},
      {"kyinfo in any case", "kylin", "[dist]\nname=Kylin-SERVER\n", "", "", "server"},
      {"kylin without kyinfo", "kylin", nullptr, "Kylin Linux Advanced Server\n", "", "server"},
      {"kylin never asks os-release", "kylin", nullptr, nullptr, "name=server\n", "undecided "},
      {"asianux has no kyinfo", "asianux", "server\n", "Asianux Desktop\n", "", "pc"},
      {"redflag", "redflag", nullptr, "Red Flag Server 8\n", nullptr, "server"},
      {"uos in any case", "uos", nullptr, nullptr, "PRETTY_NAME=\"UnionTech OS Server 20\"\n",
       "server"},
      {"uos desktop", "uos", "server", "server", "NAME=\"uos\"\n", "pc"},
      {"plain: key in upper case", "ubuntu", "", "", "PRETTY_NAME=\"Ubuntu server\"\n", "pc"},
      {"plain: value in upper case", "ubuntu", "", "", "name=Server\n", "pc"},
      {"plain: both words as written", "ubuntu", "", "", "a=1\nhostname=my-server", "server"},
      {"plain: on two lines", "debian", "", "", "name=x\nkind=server\n", "pc"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TempRoot root;
    if (c.kyinfo) root.file("etc/.kyinfo", c.kyinfo);
    if (c.productinfo) root.file("etc/.productinfo", c.productinfo);
    if (c.osRelease) root.file("etc/os-release", c.osRelease);
    EXPECT_EQ(hostType(root, c.osName), c.want);
  }
}

TEST(OsCollection, WhatCannotBeReadDecidesNothing) {
  TempRoot root;
  root.fifo("etc/.kyinfo").dir("etc/.productinfo").link("etc/os-release", "nowhere");
  EXPECT_EQ(hostType(root, "kylin"), "undecided ");
  EXPECT_EQ(hostType(root, "debian"), "undecided ");
  root.remove("etc/.productinfo");
  root.file("etc/.productinfo", "server");
  EXPECT_EQ(hostType(root, "kylin"), "server");
}

}  // namespace
}  // namespace LedgoraCollect
