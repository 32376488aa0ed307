#include <gtest/gtest.h>

#include "package/DpkgFileCollectionUnit.h"
#include "package/DpkgStanza.h"
#include "package/PkgFileFilter.h"
#include "support/TempRoot.h"

namespace LedgoraCollect {
namespace {

using LedgoraTest::TempRoot;

// Ends the stanza in front of it; itself the last one and so never reported.
const std::string kLast = "Package: last\nStatus: install ok installed\nVersion: 1\n";

std::string stanza(const std::string& name, const std::string& more = "") {
  return "Package: " + name + "\nStatus: install ok installed\nInstalled-Size: 12\n" +
         "Architecture: amd64\nVersion: 1.0-" + name + "\nDescription: about " + name + "\n" +
         more + "\n";
}

class DpkgSource : public ::testing::Test {
 protected:
  DpkgSource() { mUnit.setEnvironment(mRoot.path()); }
  const std::vector<DPKG_PKG_INFO>& load(const std::string& status) {
    mRoot.file("var/lib/dpkg/status", status);
    EXPECT_TRUE(mUnit.loadDpkgList(nullptr));
    return mUnit.getDpkgList();
  }
  std::string names(const std::string& status) {
    std::string all;
    for (const DPKG_PKG_INFO& package : load(status)) all += package.name + " ";
    return all;
  }
  TempRoot mRoot;
  DpkgFileCollectionUnit mUnit;
};

TEST_F(DpkgSource, WhichPackagesAreReported) {
  const struct {
    const char* what;
    std::string status, want;
  } cases[] = {
      {"empty file", "", ""},
      {"one package", stanza("a"), ""},
      {"the last is never reported", stanza("a") + stanza("b") + stanza("c"), "a b "},
      {"no blank line between", "Package: a\nVersion: 1\nPackage: b\nVersion: 1\n", "a "},
      {"removed, configuration left", "Package: a\nStatus: deinstall ok config-files\n\n" + kLast,
       ""},
      {"three words never equal not-installed",
       "Package: a\nStatus: unknown ok not-installed\n\n" + kLast, "a "},
      {"no status at all", "Package: a\nVersion: 1\n\n" + kLast, "a "},
      {"a continuation line that looks like a field", stanza("a", " see Package: b here\n") + kLast,
       "a b "},
      {"a name that is missing", "Package:\nVersion: 1\n\n" + kLast, "#END#Version: "},
      {"a zero byte cuts its line", std::string("Package: a\0b\nVersion: 1\n", 24) + kLast, "a "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(names(c.status), c.want);
  }
}

TEST_F(DpkgSource, FieldsAsTheStatusFileHasThem) {
  mRoot.file("var/lib/dpkg/info/bash:amd64.list", "/.\n")
      .modified("var/lib/dpkg/info/bash:amd64.list", 1700000000);
  const auto& list = load(
      "Package: bash\nEssential: yes\nStatus: install ok installed\nInstalled-Size: 7164\n"
      "Architecture: amd64\nMulti-Arch: foreign\nVersion: 5.2.15-2+b7\n"
      "Conffiles:\n /etc/skel/.bashrc 1b3a7\n /etc/bash.bashrc 3f8ca\n /etc/bash.bashrc 3f8ca\n"
      "Description: GNU Bourne Again SHell\n Bash is an sh-compatible interpreter.\n .\n"
      " Version: 0.9 was older.\n\n" +
      kLast);
  ASSERT_EQ(list.size(), 1u);
  const DPKG_PKG_INFO& bash = list[0];
  EXPECT_EQ(bash.status, "install ok installed ");
  EXPECT_EQ(bash.architecture, "amd64");
  EXPECT_EQ(bash.version, "5.2.15-2+b7");
  EXPECT_EQ(bash.installedSize, "7164");
  EXPECT_EQ(bash.description, "GNU Bourne Again SHell ");
  EXPECT_EQ(bash.listPath, "/var/lib/dpkg/info/bash:amd64.list");
  EXPECT_EQ(bash.installTime, "1700000000000");
  // "Conffiles:" with nothing behind it belongs to the field in front of it.
  EXPECT_EQ(bash.configFiles, (std::vector<std::string>{"/etc/bash.bashrc", "/etc/skel/.bashrc"}));
  SoftwarePkgCacheUnit unit;
  mUnit.getDpkgPkgCacheUnit(&bash, unit);
  EXPECT_EQ(unit.getPackageKey(), "bash5.2.15-2+b717000000000007164");
}

// The scan finds what the two expressions would.
TEST(DpkgLine, KeyAndValueAsTheExpressionsCaptureThem) {
  for (const char* line :
       {"Package: bash", "Conffiles:", "Conffiles: ", " Bash is: an sh", ": x", ":: x", " : a: b",
        "a:b c:d", "Depends: libc6 (>= 2.36), x", "no field", "", "  ", "x:\ty\vz", "x:\xa0y: z",
        "Homepage: http://a:b/", "a: b: c"}) {
    const DpkgLineField field = dpkgLineField(line);
    EXPECT_EQ(field.key, getDpkgField(line, "(\\S+):\\s+")) << line;
    EXPECT_EQ(field.value, getDpkgField(line, "\\S+:\\s+(\\S+)")) << line;
  }
}

TEST_F(DpkgSource, BuffersAndLineLimitsBoundAStanza) {
  std::string conffiles = "Conffiles:\n";
  for (int i = 10; i < 60; ++i) conffiles += " /etc/f" + std::to_string(i) + " 0123\n";
  std::string filler;
  for (int i = 0; i < 9; ++i)
    filler += "X" + std::to_string(i) + ": " + std::string(990, 'x') + "\n";
  const auto& list =
      load(stanza("conf", conffiles) + "Package: long\nVersion: 1\nX: " + std::string(4090, 'x') +
           "\nY: " + std::string(4093, 'y') + "\nInstalled-Size: 5\n\n" + "Package: over\n" +
           filler + "Version: 3\n\n" + kLast);
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[0].configFiles.size(), 18u);  // line 1 is the description's, 2 "Conffiles:"
  // A line of 4095 bytes goes in, one of 4096 doesn't.
  EXPECT_EQ(list[1].installedSize, "5");
  EXPECT_EQ(list[2].version, "") << "what lies beyond the buffer is lost";
}

TEST_F(DpkgSource, NumberSignEndsAFieldEarly) {
  const auto& list = load("Package: a\nVersion: 1\nDescription: the C# compiler\n\n" + kLast);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].description, "the C");
}

TEST_F(DpkgSource, ListFilesAreFilteredAndBounded) {
  std::string files = "/.\n/usr\n\n";
  for (int i = 0; i < 1500; ++i) files += "/usr/bin/p" + std::to_string(i) + "\n";
  mRoot.file("var/lib/dpkg/info/a.list", files).file("var/lib/dpkg/info/b.list", "/opt/b\n");
  load(stanza("a") + stanza("b") + stanza("c") + kLast);
  std::vector<std::string> found;
  EXPECT_TRUE(mUnit.getPackageInstallFiles("a", "", found, pkgFileFilter));
  ASSERT_EQ(found.size(), 1024u);
  EXPECT_EQ(found[0], "/usr");
  EXPECT_EQ(found[1023], "/usr/bin/p1022");
  found.clear();
  EXPECT_TRUE(mUnit.getPackageInstallFiles("a", "/usr/bin/p149", found, nullptr));
  EXPECT_EQ(found.size(), 11u);
  EXPECT_FALSE(mUnit.getPackageInstallFiles("c", "", found, nullptr)) << "has no list file";
  EXPECT_FALSE(mUnit.getPackageInstallFiles("none", "", found, nullptr));
  ASSERT_TRUE(mUnit.loadDpkgList("/opt/"));
  ASSERT_EQ(mUnit.getDpkgList().size(), 1u);
  EXPECT_EQ(mUnit.getDpkgList()[0].name, "b");
}

TEST_F(DpkgSource, NothingIsReadOutsideOfTheRoot) {
  TempRoot outside;
  outside.file("status", stanza("outside") + kLast).file("x.list", "/outside\n");
  mRoot.link("var/lib/dpkg/status", outside.path("status"));
  EXPECT_FALSE(mUnit.loadDpkgList(nullptr));
  EXPECT_TRUE(mUnit.getDpkgList().empty());
  mRoot.remove("var/lib/dpkg/status");
  mRoot.link("var/lib/dpkg/info/a.list", outside.path("x.list"));
  load(stanza("a") + kLast);
  std::vector<std::string> found;
  mUnit.getPackageInstallFiles("a", "", found, nullptr);
  EXPECT_TRUE(found.empty());
}

TEST(PkgFileFilter, WhatAProcessCanBeStartedFromIsKept) {
  const struct {
    const char* path;
    bool kept;
  } cases[] = {
      {"/.", false},
      {"/etc/", false},
      {"", false},
      {"/usr/bin/bash", true},
      {"/etc", true},
      {"/usr/share/applications/x.desktop", true},
      {"/usr/share/x.desktop.d/readme.txt", true},
      {"/usr/share/perl5/x", false},
      {"/usr/share", true},
      {"/usr/lib/locale-x/y", false},
      {"/usr/lib/libc.so.6", false},
      {"/usr/bin/my.sort", false},
      {"/usr/lib/libx.so.d/prog", true},
      {"/usr/bin/tool.py", false},
      {"/usr/bin/tool.PY", true},
      {"/usr/bin/tool.sh", true},
      {"/opt/app.conf.d/run", true},
      {"/usr/bin/a.out", true},
      {"/usr/include/x.hpp", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(!pkgFileFilter("", "", c.path), c.kept) << c.path;
  }
}

}  // namespace
}  // namespace LedgoraCollect
