// Type 24 beside npm itself, and in roots.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "common/support/Handles.h"
#include "support/DocumentView.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"
#include "support/RootPrograms.h"

using namespace LedgoraTest;

namespace {

constexpr int kManyPackages = 3000;

std::string packageJson(const std::string& name, const std::string& version,
                        const std::string& more = "") {
  return "{\"name\":\"" + name + "\",\"version\":\"" + version + "\"" + more + "}\n";
}

/// Makes a tarball as `npm pack` does, of a directory "package".
void pack(TempRoot& work, const std::string& name) {
  const ProgramResult result =
      runProgram({"/bin/tar", "-czf", work.path(name + ".tgz"), "-C", work.path(name), "package"});
  ASSERT_EQ(result.exitStatus, 0) << result.err;
}

/// Installs real packages into a prefix: one with a nested one, one in a scope,
/// and a link to a directory.
void installWithNpm(TempRoot& work) {
  work.file("outer/package/package.json",
            packageJson("outer", "1.0.0",
                        ",\"dependencies\":{\"inner\":\"2.0.0\"},"
                        "\"bundleDependencies\":[\"inner\"],\"scripts\":{\"test\":\"t\"}"))
      .file("outer/package/node_modules/inner/package.json", packageJson("inner", "2.0.0"))
      .file("scoped/package/package.json", packageJson("@some/scoped", "1.0.0"))
      .file("linked/package.json", packageJson("linked", "1.0.0"))
      .dir("home");
  pack(work, "outer");
  pack(work, "scoped");
  const ProgramResult result = runProgram(
      {"/bin/sh", "-c",
       "cd '" + work.path() +
           "' && npm install -g --offline --prefix \"$PWD/prefix\" "
           "--cache \"$PWD/cache\" --no-audit --no-fund --no-update-notifier --loglevel=error "
           "--install-links=false "
           "./outer.tgz ./scoped.tgz ./linked"},
      {{"HOME", work.path("home")}});
  ASSERT_EQ(result.exitStatus, 0) << result.err;
}

void addNamesOf(const cJSON* package, std::multiset<std::string>& names) {
  const cJSON* dependency = nullptr;
  cJSON_ArrayForEach(dependency, cJSON_GetObjectItem(package, "dependencies")) {
    const cJSON* version = cJSON_GetObjectItem(dependency, "version");
    names.insert(std::string(dependency->string) + "|" + cJSON_GetStringValue(version));
    addNamesOf(dependency, names);
  }
}

std::multiset<std::string> namesThatNpmTells(const TempRoot& work) {
  const ProgramResult result =
      runProgram({"/bin/sh", "-c",
                  "npm ls -g --json --all --offline --no-update-notifier --prefix '" +
                      work.path("prefix") + "'"},
                 {{"HOME", work.path("home")}});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  const LedgoraCollect::JsonHandle tree(cJSON_Parse(result.out.c_str()));
  std::multiset<std::string> names;
  addNamesOf(tree.get(), names);
  return names;
}

/// "name|version" of the packages below a directory.
std::multiset<std::string> namesBelow(const std::string& document, const std::string& directory) {
  std::multiset<std::string> names;
  std::istringstream rows(
      documentRows(document, {"package_name", "package_version", "package_path"}));
  for (std::string row; std::getline(rows, row);) {
    const std::size_t path = row.rfind('|');
    if (row.compare(path + 1, directory.size(), directory) == 0) names.insert(row.substr(0, path));
  }
  return names;
}

void compareWithNpm() {
  TempRoot work;
  // In memory: thousands of small files take a disk many seconds.
  work.dir("prefix");
  ASSERT_EQ(mount("prefix", work.path("prefix").c_str(), "tmpfs", 0, nullptr), 0);
  installWithNpm(work);
  for (int i = 0; i < kManyPackages; ++i) {
    const std::string name = "many-" + std::to_string(i);
    work.file("prefix/lib/node_modules/" + name + "/package.json", packageJson(name, "1.0.0"));
  }
  work.file("passwd", "tester:x:1:1::" + work.path("home") + ":/bin/sh\n")
      .file("home/.npmrc", "fund=false\nprefix = " + work.path("prefix") + " # of everybody\n");
  ASSERT_EQ(mount(work.path("passwd").c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr), 0);
  ProgramRun program;
  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_NPM=100000\n");
  const ProgramResult result = program.type(24);
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  std::multiset<std::string> told = namesThatNpmTells(work);
  EXPECT_EQ(told.size(), kManyPackages + 4u);
  // npm also tells packages in scopes and those that are links.
  EXPECT_EQ(told.erase("@some/scoped|1.0.0") + told.erase("linked|1.0.0"), 2u);
  EXPECT_TRUE(namesBelow(result.document, work.path("prefix/lib/node_modules/")) == told);
  // The default limit counts the packages of all roots together.
  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_NPM=0\n");
  EXPECT_EQ(documentCount(program.type(24).document), 1024);
  umount2("/etc/passwd", MNT_DETACH);
  umount2(work.path("prefix").c_str(), MNT_DETACH);
}

/// A root with npm, whose users' configuration files differ.
void makeNpmRoot(TempRoot& root, const std::string& hostDirectory) {
  copyShells(root);
  const std::string own = "usr/lib/node_modules/npm/";
  root.link("usr/bin/npm", "../lib/node_modules/npm/bin/npm-cli.js")
      .file(own + "bin/npm-cli.js", "", 0755)
      .file(own + "node_modules/abbrev/package.json",
            packageJson("abbrev", "1", R"(,"scripts":{"test":"x,y","build":"z"})"))
      .file(own + "node_modules/abbrev/node_modules/inner/package.json", packageJson("inner", "2"))
      .file("etc/passwd",
            "short:x:1:1\nnoshell:x:1:1::/home/noshell:\na:x:1:1::/home/a:/bin/sh\n"
            "b:x:1:1::/home/b:/bin/sh\nc:x:1:1::/home/c:/bin/sh\nd:x:1:1::/home/d:/bin/sh\n"
            "e:x:1:1::/../../home/e:/bin/sh\nf:x:1:1:::/bin/sh\n")
      .file("home/noshell/.npmrc", "prefix=/opt/never # x\n")
      .file("home/a/.npmrc", "prefix=/opt/missing # x\nprefix=/opt/a # x\n")
      .file("home/a/.cnpmrc", "prefix=/opt/never # x\n")
      .file("home/b/.cnpmrc", "prefix=/opt/a # the same\n")
      .file("home/c/.npmrc", "prefix=" + hostDirectory + "\nprefix=/opt/never # x\n")
      .link("home/d/.npmrc", ".npmrc")
      .file("home/e/.npmrc", "prefix=/opt/links # x\n")
      .file("opt/never/lib/node_modules/never/package.json", packageJson("never", "1"));
}

void addDamagedPackages(TempRoot& root) {
  const std::string modules = "opt/a/lib/node_modules/";
  const std::string deep(100000, '[');
  root.file(modules + "noversion/package.json", R"({"name":"noversion"})")
      .file(modules + "blank/package.json", packageJson(" \\t", "1"))
      .file(modules + "good/package.json", packageJson("good", "1"))
      .file(modules + "nested/package.json", packageJson("nested", "1", ",\"x\":" + deep))
      .file(modules + "huge/package.json", packageJson("huge", "1"))
      .file(modules + "cut/package.json", R"({"name":"cut","version":"1)")
      .file(modules + "@scope/in/package.json", packageJson("in", "1"))
      .dir(modules + "dir/package.json")
      .fifo(modules + "fifo/package.json")
      .file(modules + "file", "x")
      .link(modules + "alias", "good")
      .link(modules + "host/package.json", "/etc/passwd")
      .link(modules + "good/node_modules", "node_modules");
  std::filesystem::resize_file(root.path(modules + "huge/package.json"), 100 << 20);
  root.file("opt/links/lib/node_modules/loop/package.json", packageJson("loop", "1"))
      .link("opt/links/lib/node_modules/loop/node_modules", "..");
}

}  // namespace

TEST(NpmPackages, AgreeWithNpmItself) {
  if (runProgram({"/bin/sh", "-c", "command -v npm"}).exitStatus != 0) GTEST_SKIP() << "no npm";
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, compareWithNpm));
}

TEST(NpmPackages, OfARootAndItsUsers) {
  TempRoot host;
  host.file("plain/package.json", packageJson("plain", "1"))
      .file("lib/node_modules/prefixed/package.json", packageJson("prefixed", "1"));
  TempRoot root;
  makeNpmRoot(root, host.path());
  addDamagedPackages(root);
  ProgramRun program;
  const std::string env = "env=" + root.path();
  const ProgramResult result = program.type(24, {env});
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  const std::string rows = documentRows(
      result.document,
      {"package_name", "package_version", "package_path", "package_operation_command"});
  const std::string own = "/usr/lib/node_modules/npm/node_modules/abbrev";
  const std::string front = "abbrev|1|" + own + "|build:z,test:x,y\ninner|2|" + own +
                            "/node_modules/inner|\ngood|1|/opt/a/lib/node_modules/good|\nplain|1|" +
                            host.path() + "/plain|\n";
  EXPECT_EQ(rows.substr(0, front.size()), front) << result.messages();
  // The loop is followed as far as the kernel follows links, once a level.
  EXPECT_EQ(rows.find("loop|1|/opt/links/lib/node_modules/loop|\n"), front.size());
  EXPECT_LT(documentCount(result.document), 50);
  EXPECT_LT(result.peakKib, 100 * 1024);
  EXPECT_EQ(result.count("/opt/a/lib/node_modules has been collected"), 1);
  EXPECT_EQ(result.count("get npm pkg version or name failed path is"), 1);

  root.remove("usr/bin/npm");
  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_NPM=2\n");
  const ProgramResult limited = program.type(24, {env});
  EXPECT_EQ(documentRows(limited.document, {"package_name"}), "good\n");
  EXPECT_EQ(limited.count("get command npm result failed"), 1);
  EXPECT_GE(limited.count("npm pkg is more than 2 max npm count"), 1) << limited.messages();
}
