#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <stdexcept>

#include "common/support/Handles.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

using namespace LedgoraTest;

namespace {

using Rows = std::vector<std::string>;

/// The document's elements as "value|value|..." of these members.
Rows rowsOf(const ProgramResult& result, const Rows& members) {
  Rows rows;
  const LedgoraCollect::JsonHandle document(cJSON_Parse(result.document.c_str()));
  const cJSON* list = cJSON_GetObjectItemCaseSensitive(document.get(), "list");
  if (!cJSON_IsArray(list)) throw std::runtime_error("no list in: " + result.document);
  const cJSON* element = nullptr;
  cJSON_ArrayForEach(element, list) {
    std::string row;
    for (const std::string& member : members) {
      const cJSON* value = cJSON_GetObjectItemCaseSensitive(element, member.c_str());
      row += (row.empty() ? "" : "|") + std::string(cJSON_GetStringValue(value));
    }
    rows.push_back(row);
  }
  return rows;
}

Rows linesOf(const std::string& text) {
  Rows lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string listFile(const std::string& name, const std::string& architecture) {
  const std::string stem = "/var/lib/dpkg/info/" + name;
  struct stat found {};
  for (const std::string& path : {stem + ".list", stem + ":" + architecture + ".list"}) {
    if (stat(path.c_str(), &found) == 0) return std::to_string(found.st_mtime) + "000";
  }
  return "";
}

/// A status file with these packages and one more, which is never reported.
std::string statusOf(const Rows& names) {
  std::string status;
  for (const std::string& name : names) {
    status += "Package: " + name +
              "\nStatus: install ok installed\nInstalled-Size: 7\nVersion: 1\n"
              "Description: d\nConffiles:\n /etc/z 1\n /etc/a 2\n\n";
  }
  return status + "Package: zz-last\nVersion: 0\n";
}

constexpr const char* kFilterFile = "config/rule/pkg_install/pkg_filter.json";

}  // namespace

// What dpkg says of this machine, but for three things: the last stanza of the
// status file, which the reading never finishes; packages that are removed and
// left their configuration; and packages that agree in name, version, list
// time and size, which are one package to the cache.
TEST(InstalledPackages, AreWhatDpkgListsOnThisMachine) {
  if (runProgram({"/usr/bin/dpkg-query", "--version"}).exitStatus != 0) {
    GTEST_SKIP() << "no dpkg on this machine";
  }
  const Rows stanzas = linesOf(readWhole("/var/lib/dpkg/status"));
  std::string last;
  for (const std::string& line : stanzas) {
    if (line.rfind("Package: ", 0) == 0) last = line.substr(9);
  }
  std::set<std::string> expected;
  const ProgramResult asked =
      runProgram({"/usr/bin/dpkg-query", "-W", "-f",
                  "${Package} ${Version} ${Installed-Size} ${Architecture} ${db:Status-Want}\n"});
  for (const std::string& line : linesOf(asked.out)) {
    std::istringstream fields(line);
    std::string name, version, size, architecture, want;
    fields >> name >> version >> size >> architecture >> want;
    if (name == last || want == "deinstall") continue;
    expected.insert("dpkg|" + name + "|" + version + "|" + size + "|" +
                    listFile(name, architecture));
  }
  ProgramRun program;
  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_INSTALL_PACKAGE=100000\n");
  const ProgramResult result = program.type(23);
  EXPECT_EQ(result.exitStatus, 0);
  Rows rows = rowsOf(result, {"type", "sys_pkg_name", "version", "size", "install_time"});
  rows.erase(std::remove_if(rows.begin(), rows.end(),
                            [](const std::string& row) { return row.rfind("rpm|", 0) == 0; }),
             rows.end());
  std::sort(rows.begin(), rows.end());
  EXPECT_EQ(rows, Rows(expected.begin(), expected.end()));
  EXPECT_GT(rows.size(), 50u);
}

TEST(InstalledPackages, DocumentOfARoot) {
  TempRoot root;
  root.file("var/lib/dpkg/status", statusOf({"bash", "own"}))
      .file("var/lib/dpkg/info/bash.list", "/bin/bash\n")
      .modified("var/lib/dpkg/info/bash.list", 1700000000)
      .file("etc/os-release", "NAME=x\nID=debian\n");
  ProgramRun program;
  for (const char* run : {"first", "second"}) {
    SCOPED_TRACE(run);
    const ProgramResult result = program.type(23, {"env=" + root.path()});
    EXPECT_EQ(result.document,
              "{\"list\":[{\"sys_pkg_name\":\"bash\",\"install_time\":\"1700000000000\","
              "\"type\":\"dpkg\",\"version\":\"1\",\"desc\":\"d \","
              "\"size\":\"7\",\"conf_path\":\"/etc/a\",\"host_type\":\"pc\","
              "\"classify_id\":\"10400012\",\"belong\":\"0\"},"
              "{\"sys_pkg_name\":\"own\",\"install_time\":\"\",\"type\":\"dpkg\","
              "\"version\":\"1\",\"desc\":\"d \",\"size\":\"7\","
              "\"conf_path\":\"/etc/a\",\"host_type\":\"pc\",\"classify_id\":\"10400012\","
              "\"belong\":\"1\"}]}");
  }
}

TEST(InstalledPackages, LimitAndFilterFile) {
  TempRoot root;
  root.file("var/lib/dpkg/status", statusOf({"bash", "b", "c"}));
  const std::string env = "env=" + root.path();
  ProgramRun program;
  const auto names = [&] { return rowsOf(program.type(23, {env}), {"sys_pkg_name", "belong"}); };
  const struct {
    const char* limit;
    Rows want;
  } limits[] = {
      {"2", {"b|1", "bash|0"}},        {"0", {}}, {"-1", {}}, {"4294967295", {}},
      {"9", {"b|1", "bash|0", "c|1"}},
  };
  for (const auto& c : limits) {
    SCOPED_TRACE(c.limit);
    program.tree().file("config/hostlimit.ini",
                        std::string("[host_limit]\nE_HOST_INSTALL_PACKAGE=") + c.limit + "\n");
    EXPECT_EQ(names(), c.want);
  }
  const struct {
    const char *content, *message;
  } files[] = {
      {"[]", "[CollectInstallPackage]softBlackName empty"},
      {"{", "[CollectInstallPackage]Failed to load file "},
  };
  for (const auto& c : files) {
    program.tree().file(kFilterFile, c.content);
    const ProgramResult result = program.type(23, {env});
    EXPECT_EQ(result.count(c.message), 1) << c.content;
    EXPECT_EQ(rowsOf(result, {"sys_pkg_name", "belong"}), (Rows{"b|1", "bash|1", "c|1"}));
  }
}

// The machine itself, with another dpkg, desktop directory and release file
// mounted where only this run sees them.
TEST(InstalledPackages, DesktopApplicationsWithoutTheExcludedNames) {
  if (access("/usr/share/applications", F_OK) != 0) {
    GTEST_SKIP() << "no /usr/share/applications here to mount over";
  }
  TempRoot machine;
  machine.file("dpkg/status", statusOf({"twice", "hidden", "other"}))
      .file("dpkg/info/twice.list",
            "/usr/share/applications/a.desktop\n/usr/share/applications/b.desktop\n")
      .file("dpkg/info/hidden.list", "/usr/share/applications/h.desktop\n")
      .file("dpkg/info/other.list", "/usr/bin/other\n");
  for (const char* entry : {"a", "b", "h", "nobodys"}) {
    machine.file(std::string("applications/") + entry + ".desktop");
  }
  ProgramRun program;
  program.tree().file(kFilterFile,
                      R"([{"belong":[],"filter":[
      {"os_name":"uos_server","black_software":["hidden"]},
      {"os_name":"kylin_server","black_software":["hidden"]},
      {"os_name":"kylin_desktop","black_software":["twice"]}]}])");
  program.inChild([&machine] {
    if (!enterMountNamespace()) _exit(9);
    const auto put = [&](const char* from, const char* to) {
      if (mount(machine.path(from).c_str(), to, nullptr, MS_BIND, nullptr) != 0) _exit(9);
    };
    put("dpkg", "/var/lib/dpkg");
    put("applications", "/usr/share/applications");
    put("os-release", "/etc/os-release");
  });
  const struct {
    const char* release;
    Rows want;
  } systems[] = {
      {"NAME=x\nID=uos\nEDITION=server\n", {"twice", "twice"}},
      {"NAME=x\nID=uos\n", {"hidden", "twice", "twice"}},
      {"NAME=x\nID=debian\n", {"hidden", "twice", "twice"}},
  };
  for (const auto& c : systems) {
    SCOPED_TRACE(c.release);
    machine.file("os-release", c.release);
    Rows found = rowsOf(program.type(23, {"option=1"}), {"sys_pkg_name"});
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, c.want);
  }
}
