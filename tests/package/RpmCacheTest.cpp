#include <sstream>

#include "CacheFixture.h"
#include "RpmRoot.h"
#include "package/SoftwarePkgCache.h"

namespace LedgoraTest {
namespace {

using LedgoraCollect::SoftwarePkgCache;
using LedgoraCollect::SoftwarePkgCacheUnit;

std::string spec(const std::string& version) {
  return "Name: alpha\nVersion: " + version +
         "\nRelease: 3\nSummary: s\nLicense: x\nBuildArch: noarch\n"
         "%description\nThe alpha tool.\n\tIts second line, with a # and 100%% \"quotes\".\n"
         "%package -n beta\nSummary: s\nVersion: 2.5\n%description -n beta\nBeta; $HOME `id`.\n"
         "%package -n silent\nSummary: s\n%description -n silent\n"
         "%package -n umlaut\nSummary: s\n%description -n umlaut\nGrüße, 你好.\n"
         "%install\nmkdir -p %{buildroot}/usr/bin %{buildroot}/opt/b\n"
         "for f in alpha beta silent umlaut shared; do echo $f > %{buildroot}/usr/bin/$f; done\n"
         "echo x > '%{buildroot}/opt/b/with blank'\n"
         "%files\n/usr/bin/alpha\n/usr/bin/shared\n%files -n beta\n/usr/bin/beta\n"
         "\"/opt/b/with blank\"\n%files -n silent\n/usr/bin/silent\n"
         "%files -n umlaut\n/usr/bin/umlaut\n/usr/bin/shared\n";
}

/// "name|version-release|time|size" of each package, in byte order of the key.
std::string fields(const Environment& environment) {
  SoftwarePkgCache cache;
  cache.setEnvironment(environment.root);
  std::vector<SoftwarePkgCacheUnit> units;
  if (!cache.getPackageInfo(units, nullptr)) return "failed";
  std::string text;
  for (const auto& unit : units) {
    text += unit.getPackageType() + "|" + unit.getPackageName() + "|" + unit.getPackageVersion() +
            "|" + unit.getPackageInstallTime() + "|" + unit.getPackageSize() + "\n";
  }
  return text;
}

class RpmCache : public CacheTest {
 protected:
  RpmCache() {
    mRoot.build("one", spec("1.0"));
    for (const char* package : {"alpha-1.0-3", "beta-2.5-3", "silent-1.0-3", "umlaut-1.0-3"}) {
      mRoot.install(package);
    }
  }
  Environment here() const { return {mRoot.path(), "", ""}; }
  std::string listedFields() {
    return run([this] { return fields(here()); }).answer;
  }
  /// What rpm itself says of all packages but those without a description.
  std::string asked() const {
    return mRoot.rpmInside(
        "-qa --qf 'rpm|%{NAME}|%{VERSION}-%{RELEASE}|%{INSTALLTIME}000|%{SIZE}\\n' | sort | "
        "grep -v silent");
  }
  RpmRoot mRoot;
};

TEST_F(RpmCache, ListEqualsRpmsOwn) {
  EXPECT_EQ(listedFields(), asked());
  EXPECT_EQ(sql("select pkg_desp from software_pkg_info order by pkg_name"),
            "The alpha tool. Its second line, with a # and 100% \"quotes\".\n"
            "Beta; $HOME `id`.\nGrüße, 你好.\n");
}

TEST_F(RpmCache, OwnersEqualRpmsOwn) {
  const std::vector<std::string> paths{"/usr/bin/alpha", "/usr/bin/beta",     "/usr/bin/umlaut",
                                       "/usr/bin/rpm",   "/opt/b/with blank", "/nowhere",
                                       "/usr/bin",       "/usr/bin/silent",   "/usr/bin/shared"};
  std::string want;
  std::string sharedOwner;  // one of two; rpm decides
  for (const std::string& path : paths) {
    std::istringstream answer(mRoot.rpmInside("-qf '" + path + "' --qf '%{NAME}\\n' 2>/dev/null"));
    std::string name;
    std::getline(answer, name);
    // A path with a blank is asked as two; a package without a description has
    // too few fields.
    const bool known = !name.empty() && name.find(' ') == std::string::npos &&
                       path.find(' ') == std::string::npos && name != "silent";
    want += (known ? name : "-") + " ";
    if (path == "/usr/bin/shared") sharedOwner = name;
  }
  const auto body = [&] { return owners(here(), paths); };
  const Outcome first = run(body);
  EXPECT_EQ(first.answer, want);
  EXPECT_NE(want.find("alpha beta umlaut - - - "), std::string::npos);
  // Positive answers and those where rpm said that nobody owns the file are
  // rows now; a file that isn't there, about which rpm says nothing, is none.
  EXPECT_EQ(sql("select f.pkg_file_path, ifnull(i.pkg_name, '-') from software_pkg_file f left "
                "join software_pkg_info i on i.id = f.pkg_id order by f.rowid"),
            "/usr/bin/alpha|alpha\n/usr/bin/beta|beta\n/usr/bin/umlaut|umlaut\n/usr/bin/rpm|-\n"
            "/usr/bin|-\n/usr/bin/silent|-\n/usr/bin/shared|" +
                sharedOwner + "\n");
  const Outcome second = run(body);
  EXPECT_EQ(second.answer, want);
  EXPECT_LT(second.count("rpm -qf"), first.count("rpm -qf"));
  EXPECT_EQ(second.count("rpm -qf /usr/bin/rpm "), 0) << "known to be nobody's";
}

TEST_F(RpmCache, UpgradeAndRemoval) {
  const auto alpha = [this] { return owners(here(), {"/usr/bin/alpha"}); };
  EXPECT_EQ(run(alpha).answer, "alpha ");
  mRoot.build("two", spec("2.0"));
  mRoot.install("alpha-2.0-3");
  EXPECT_EQ(listedFields(), asked());
  EXPECT_EQ(sql("select count(*) from software_pkg_file"), "0\n") << "the old package's row";
  EXPECT_EQ(run(alpha).answer, "alpha ");
  mRoot.rpm("-e --nodeps --noscripts alpha");
  EXPECT_EQ(listedFields(), asked());
  EXPECT_EQ(run(alpha).answer, "- ");
}

TEST_F(RpmCache, BothSystemsInOneRoot) {
  mRoot.tree()
      .file("var/lib/dpkg/status",
            "Package: debpkg\nVersion: 7\nInstalled-Size: 1\n\nPackage: zz\nVersion: 0\n")
      .file("var/lib/dpkg/info/debpkg.list", "/usr/bin/deb\n")
      .modified("var/lib/dpkg/info/debpkg.list", 1700000000);
  std::istringstream lines(asked() + "dpkg|debpkg|7|1700000000000|1\n");
  std::vector<std::string> want;
  for (std::string line; std::getline(lines, line);) want.push_back(line.substr(line.find('|')));
  std::sort(want.begin(), want.end());
  std::istringstream found(listedFields());
  std::vector<std::string> have;
  for (std::string line; std::getline(found, line);) have.push_back(line.substr(line.find('|')));
  EXPECT_EQ(have, want);
  EXPECT_EQ(run([this] {
              return owners(here(), {"/usr/bin/deb", "/usr/bin/alpha", "/usr/bin/rpm"});
            }).answer,
            "debpkg alpha - ");
}

// As on a machine of another package system that has rpm, too.
TEST_F(RpmCache, NoPackageAtAllCostsOneQuestion) {
  mRoot.rpm("-e --nodeps --noscripts alpha beta silent umlaut");
  mRoot.tree().file("usr/bin/own", "").file("usr/bin/own2", "").file("usr/bin/own3", "");
  const std::vector<std::string> paths{"/usr/bin/own", "/usr/bin/own2", "/nowhere",
                                       "/usr/bin/own3"};
  const Outcome outcome = run([&] { return owners(here(), paths); });
  EXPECT_EQ(outcome.answer, "- - - - ");
  EXPECT_EQ(outcome.count("execute cmd:unset LD_LIBRARY_PATH; chroot " + mRoot.path() +
                          " rpm -qf"),
            1);
  EXPECT_EQ(sql("select pkg_file_path from software_pkg_file order by rowid"),
            "/usr/bin/own\n/usr/bin/own2\n/usr/bin/own3\n");
}

TEST_F(RpmCache, RpmThatSaysNothingLeavesNoRow) {
  EXPECT_EQ(listedFields(), asked());
  mRoot.tree().file("usr/bin/rpm", "not a program", 0755);
  const Outcome outcome = run([this] { return owners(here(), {"/usr/bin/alpha"}); });
  EXPECT_EQ(outcome.answer, "- ");
  EXPECT_EQ(sql("select count(*) from software_pkg_file"), "0\n");
}

// A process that couldn't be made once must not leave files without owner for good.
TEST_F(RpmCache, RpmThatCouldNotBeStartedLeavesNoRow) {
  const Outcome outcome = run([this] {
    LedgoraCollect::RpmCmdCollectionUnit rpm;
    rpm.setEnvironment(here().root);
    if (!rpm.detectRpmCmd()) return std::string("no rpm");
    rpm.setDetectResult(false);
    return owners(here(), {"/usr/bin/alpha"});
  });
  EXPECT_EQ(outcome.answer, "- ");
  EXPECT_EQ(sql("select count(*) from software_pkg_file"), "0\n");
  EXPECT_EQ(run([this] { return owners(here(), {"/usr/bin/alpha"}); }).answer, "alpha ");
}

}  // namespace
}  // namespace LedgoraTest
