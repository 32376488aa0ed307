#include "CacheFixture.h"
#include "common/StringUtils.h"
#include "package/SoftwarePkgCache.h"
#include "support/Namespaces.h"

namespace LedgoraTest {
namespace {

class PackageCache : public CacheTest {
 protected:
  PackageCache() {
    mRoot.install("alpha", {"1.0", 1700000000, {"/usr/bin/alpha", "/usr/share/doc/alpha/x"}});
    mRoot.install("beta", {"2.0", 1700000001, {"/usr/bin/beta", "/usr/sbin/beta-admin"}});
    mRoot.install("gamma", {"3.0", 1700000002, {}});
    mRoot.write();
  }
  Environment here() const { return {mRoot.path(), "", ""}; }
  std::string owned(const std::vector<std::string>& paths) {
    return run([this, paths] { return owners(here(), paths); }).answer;
  }
  DpkgRoot mRoot;
};

TEST_F(PackageCache, FirstRunFillsTheTables) {
  EXPECT_EQ(list(here()).answer, mRoot.expected());
  EXPECT_EQ(sql("select count(*), pkg_env = '" + mRoot.path() +
                "', container_id, pkg_collect_time > 1700000000 from software_pkg_env"),
            "1|1||1\n");
  EXPECT_EQ(sql("select pkg_name, pkg_version, pkg_type, pkg_size, pkg_desp, pkg_cfg_files, "
                "pkg_install_time, typeof(pkg_install_time) from software_pkg_info "
                "order by pkg_name limit 1"),
            "alpha|1.0|dpkg|10|the alpha |/etc/alpha.conf;|1700000000000|integer\n");
  EXPECT_EQ(sql("select f.pkg_file_path, i.pkg_name from software_pkg_file f join "
                "software_pkg_info i on f.pkg_id = i.id order by 1"),
            "/usr/bin/alpha|alpha\n/usr/bin/beta|beta\n/usr/sbin/beta-admin|beta\n");
  EXPECT_EQ(sql("select name from sqlite_master where sql is not null order by name"),
            "pkg_file_env_id\npkg_file_path\npkg_info_env_id\npkg_info_id\nsoftware_pkg_env\n"
            "software_pkg_file\nsoftware_pkg_info\n");
  struct stat file {};
  ASSERT_EQ(stat(database().c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 07777, 0640u);
}

TEST_F(PackageCache, UnchangedMachineWritesOnlyTheEnvironment) {
  list(here());
  std::string triggers = "create table change (what text);";
  for (const char* table : {"software_pkg_info", "software_pkg_file", "software_pkg_env"}) {
    for (const char* action : {"insert", "update", "delete"}) {
      triggers += std::string("create trigger t_") + table + action + " after " + action + " on " +
                  table + " begin insert into change values('" + table + " " + action + "'); end;";
    }
  }
  ASSERT_EQ(sql(triggers), "");
  const Outcome second = list(here());
  EXPECT_EQ(second.answer, mRoot.expected());
  EXPECT_EQ(sql("select what, count(*) from change group by what"), "software_pkg_env insert|2\n");
  EXPECT_EQ(second.count("already exists"), 4) << "the indexes of a later start";
}

TEST_F(PackageCache, OneRefreshServesAProcess) {
  const Outcome outcome = run([this] {
    std::string text = listed(here());
    return text += listed(here());
  });
  EXPECT_EQ(outcome.answer, mRoot.expected() + mRoot.expected());
  EXPECT_EQ(outcome.count("get all dpkg by read"), 1);
  EXPECT_EQ(outcome.count("db cache is enable, skipped to rebuild!!"), 1);
}

TEST_F(PackageCache, UpgradeRemovalReinstall) {
  const std::vector<std::string> paths{"/usr/bin/alpha", "/usr/bin/beta", "/usr/bin/alpha2"};
  EXPECT_EQ(list(here()).answer, mRoot.expected());
  mRoot.install("alpha", {"1.1", 1700000100, {"/usr/bin/alpha2"}});
  mRoot.write();
  EXPECT_EQ(list(here()).answer, mRoot.expected());
  EXPECT_EQ(sql("select count(*) from software_pkg_file where pkg_file_path='/usr/bin/alpha'"),
            "0\n");
  EXPECT_EQ(owned(paths), "- beta alpha ");
  mRoot.remove("beta");
  mRoot.write();
  EXPECT_EQ(list(here()).answer, mRoot.expected());
  EXPECT_EQ(owned(paths), "- - alpha ");
  mRoot.install("alpha", {"1.1", 1700000200, {"/usr/bin/alpha2"}});  // reinstalled: new key
  mRoot.install("beta", {"2.0", 1700000300, {"/usr/bin/beta"}});
  mRoot.write();
  EXPECT_EQ(list(here()).answer, mRoot.expected());
  // A path that nobody owned once stays without owner as long as its
  // environment lives.
  EXPECT_EQ(owned(paths), "- - alpha ");
  EXPECT_EQ(sql("select count(*) from software_pkg_info"), "3\n");
}

TEST_F(PackageCache, RootWithoutAnyPackageManagerEmptiesItsRows) {
  list(here());
  mRoot.tree().remove("var/lib/dpkg/status");
  EXPECT_EQ(list(here()).answer, "");
  EXPECT_EQ(sql("select count(*) from software_pkg_info"), "0\n");
  EXPECT_EQ(sql("select count(*), pkg_collect_time > 0 from software_pkg_env"), "1|1\n");
}

TEST_F(PackageCache, RowsOfBrokenAndUnknownEnvironmentsGo) {
  list(here());
  sql("insert into software_pkg_env values('half','/x','',0);"
      "insert into software_pkg_info(id,pkg_env_id,pkg_name) values('h1','half','p'),"
      "('u1','unknown','p');"
      "insert into software_pkg_file(id,env_id) values('h2','half'),('u2','unknown');");
  EXPECT_EQ(list(here()).answer, mRoot.expected());
  EXPECT_EQ(sql("select id from software_pkg_env where id='half' union all select id from "
                "software_pkg_info where id in ('h1','u1') union all select id from "
                "software_pkg_file where id in ('h2','u2')"),
            "");
}

TEST_F(PackageCache, NullColumnsReadAsEmptyTexts) {
  list(here());
  sql("update software_pkg_env set pkg_env = null, container_id = null;"
      "update software_pkg_info set pkg_desp = null where pkg_name = 'alpha'");
  EXPECT_EQ(list(here()).answer, mRoot.expected());
}

TEST_F(PackageCache, ContainersAndHostDoNotMix) {
  DpkgRoot first;
  first.install("only-first", {"1", 1700000000, {"/usr/bin/tool"}});
  first.write();
  DpkgRoot second;
  second.install("only-second", {"1", 1700000000, {"/usr/bin/tool"}});
  second.write();
  ContainerOptions options;
  options.command = {"/bin/sleep", "60"};
  options.root = first.path();
  options.id = std::string(64, 'a');
  const TestContainer one(options);
  options.root = second.path();
  options.id = std::string(64, 'b');
  const TestContainer two(options);
  const auto inside = [](const TestContainer& container, const char id) {
    return Environment{"", "/proc/" + std::to_string(container.pid()) + "/root",
                       std::string(64, id)};
  };
  const Environment a = inside(one, 'a');
  const Environment b = inside(two, 'b');
  const auto all = [&] {
    std::string text = listed(a) + "+";
    text += listed(b) + "+";
    text += owners(a, {"/usr/bin/tool"}) + "+";
    text += owners(b, {"/usr/bin/tool"}) + "+";
    return text += owners(Environment{}, {"/usr/bin/tool", "/usr/bin/dpkg"});
  };
  const std::string want =
      first.expected() + "+" + second.expected() + "+only-first +only-second +- dpkg ";
  EXPECT_EQ(run(all).answer, want);
  EXPECT_EQ(run(all).answer, want);
  EXPECT_EQ(sql("select count(*) from software_pkg_env"), "3\n");
  // One container id is one environment, whichever process gave the root.
  const auto sameId = [&] {
    std::string text = listed(a);
    return text += listed({"", b.target, a.containerId});
  };
  EXPECT_EQ(run(sameId).answer, first.expected() + first.expected());
}

TEST_F(PackageCache, IdsAreHashesOfTheJoinedParts) {
  mRoot.write();
  run([this] { return listed({mRoot.path(), "", "cid"}); });
  std::string env = "ENV_" + mRoot.path() + "cid";
  EXPECT_EQ(sql("select id from software_pkg_env"),
            LedgoraCollect::StringUtils::getMd5Str(env) + "\n");
}

}  // namespace
}  // namespace LedgoraTest
