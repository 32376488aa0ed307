// Type 7 with rules of the test's own: what a later run takes from the cache,
// what hostile processes get run, and the same server in a container.
#include <gtest/gtest.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <numeric>
#include <set>

#include "support/Daemons.h"
#include "support/DocumentView.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

namespace LedgoraTest {
namespace {

constexpr int kOwnMachine = CLONE_NEWNS | CLONE_NEWPID;
constexpr uid_t kNobody = 65534;

/// An installation with rules of its own, and servers that leave a mark each
/// time that their version is asked.
class Machine {
 public:
  explicit Machine(const std::string& rules = {}) {
    chmod(mFiles.path().c_str(), 0777);
    mFiles.file("conf/server.conf");
    mProgram.tree().file("config/rule/soft/soft_app_linux.json",
                         rules.empty() ? ownRules() : rules);
  }
  TempRoot& files() { return mFiles; }
  ProgramRun& program() { return mProgram; }
  /// Copies the server to a place below the files and starts it.
  pid_t start(const std::string& place, const DaemonOptions& options = {},
              const std::vector<std::string>& arguments = {}) {
    if (!mFiles.exists(place)) mFiles.copy(place, LEDGORA_TEST_DAEMON);
    chmod(mFiles.path(place).c_str(), 0755);
    return mDaemons.start(mFiles.path(place), arguments, options);
  }
  void stop(pid_t pid) { mDaemons.stop(pid); }
  /// How often the server told its version.
  int asked(const std::string& place) const {
    const std::string marks = place + ".ran";
    return mFiles.exists(marks) ? static_cast<int>(mFiles.read(marks).size()) : 0;
  }
  /// Name, version and configuration of what runs, sorted.
  std::string running(const std::vector<std::string>& arguments = {}) {
    mLast = mProgram.type(7, arguments);
    std::multiset<std::string> rows;
    std::istringstream lines(documentRows(mLast.document, {"name", "version", "conf_path", "pid"}));
    for (std::string line; std::getline(lines, line);) {
      const std::size_t pids = line.rfind('|');
      if (line.find('[', pids) == std::string::npos) continue;
      rows.insert(line.substr(0, pids) + "\n");
    }
    return std::accumulate(rows.begin(), rows.end(), std::string());
  }
  const ProgramResult& last() const { return mLast; }

 private:
  std::string ownRules() const {
    return R"rule([{"name": "server", "id": "T-1",
      "character": {"pattern_process": [{"process_name": "^server$"}]},
      "configure": {"conf_default": [{"file": "server\\.conf$", "path_base": ")rule" +
           mFiles.path("conf") + R"rule("}]},
      "versions": {"version_cmd":
        [{"cmd_param": "--version 2>&1", "out_regex": "version ([0-9.]+)"}]}}])rule";
  }

  TempRoot mFiles;
  ProgramRun mProgram;
  Daemons mDaemons;
  ProgramResult mLast;
};

/// Runs a statement on the state database of an installation; the first value.
std::string sql(Machine& machine, const std::string& statement) {
  sqlite3* database = nullptr;
  std::string value;
  const std::string path = machine.program().tree().path("var/data/hoststate.db");
  EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
  const auto take = [](void* out, int, char** values, char**) {
    *static_cast<std::string*>(out) = values[0] == nullptr ? "NULL" : values[0];
    return 0;
  };
  EXPECT_EQ(sqlite3_exec(database, statement.c_str(), take, &value, nullptr), SQLITE_OK)
      << statement;
  sqlite3_close(database);
  return value;
}

TEST(SoftwareCache, WhatALaterRunNeedNotReadAgain) {
  EXPECT_TRUE(passesInNamespaces(kOwnMachine, [] {
    Machine machine;
    const pid_t first = machine.start("server", {}, {"3"});
    const std::string expected = "server|1.2.3|" + machine.files().path("conf/server.conf") + "\n";
    EXPECT_EQ(machine.running(), expected) << machine.last().messages();
    EXPECT_EQ(machine.asked("server"), 1);
    EXPECT_EQ(sql(machine,
                  "select json_array_length(pid) || ' ' || json_array_length(sub_pid) ||"
                  " ' ' || (major_pid = " +
                      std::to_string(first) + ") from software_cache"),
              "4 3 1");

    machine.running({"option=1"});
    EXPECT_EQ(machine.last().document, "{}");
    EXPECT_EQ(machine.last().count("collect process info in"), 0);

    sql(machine, "update software_cache set collect_time = collect_time - 1300");
    EXPECT_EQ(machine.running({"option=1"}), expected);
    EXPECT_EQ(machine.last().count("get info successful by db"), 1);
    EXPECT_EQ(machine.asked("server"), 1);

    // The number of a process that ended was given to another one.
    sql(machine, "update software_cache set start_time = start_time - 5");
    EXPECT_EQ(machine.running(), expected);
    EXPECT_EQ(machine.asked("server"), 2);

    // A row expires when its stamp, in seconds, isn't this run's.
    machine.stop(first);
    sql(machine, "update software_cache set collect_time = collect_time - 5");
    const pid_t second = machine.start("server");
    EXPECT_EQ(machine.running(), expected);
    EXPECT_EQ(machine.asked("server"), 3);
    EXPECT_EQ(sql(machine, "select count(*) || ' ' || max(major_pid) from software_cache"),
              "1 " + std::to_string(second));

    // A configuration that isn't found is looked for on every run.
    machine.files().remove("conf/server.conf");
    sql(machine, "delete from software_cache");
    for (int run = 4; run <= 5; ++run) {
      EXPECT_EQ(machine.running(), "server|1.2.3|\n");
      EXPECT_EQ(machine.asked("server"), run);
    }
  }));
}

TEST(SoftwareCache, ALostOrDamagedDatabaseCostsTimeOnly) {
  EXPECT_TRUE(passesInNamespaces(kOwnMachine, [] {
    Machine machine;
    machine.start("server", {}, {"2"});
    const std::string expected = machine.running();
    EXPECT_NE(expected, "");
    const std::string database = "var/data/hoststate.db";
    TempRoot& tree = machine.program().tree();
    const std::string whole = tree.read(database);
    const std::string halves[] = {"", std::string(100000, 'x'), whole.substr(0, whole.size() / 2),
                                  whole.substr(0, 4096) + std::string(whole.size() - 4096, '\xff')};
    for (const std::string& content : halves) {
      SCOPED_TRACE(content.size());
      tree.file(database, content);
      EXPECT_EQ(machine.running(), expected) << machine.last().messages();
      EXPECT_EQ(machine.last().exitStatus, 0);
    }
    tree.remove(database);
    EXPECT_EQ(machine.running(), expected);
    // A table of another layout is made anew.
    sql(machine, "drop table software_cache; create table software_cache (process_key text)");
    EXPECT_EQ(machine.running(), expected);
    EXPECT_EQ(sql(machine, "select count(*) from software_cache"), "1");
  }));
}

/// Rules that put into command lines whatever a process can choose.
std::string daringRules() {
  return R"rule([
    {"name": "by path", "character": {"pattern_process": [{"process_name": "^server"}]},
     "configure": {"conf_cmd": ["c"]},
     "versions": {"version_cmd": [{"cmd_param": "--version", "out_regex": "version ([0-9.]+)"}],
                  "version_file": [{"path_base": "$home", "path_file": "x", "out_regex": "(.*)"}]},
     "key_path": ["$home"], "var": {"var_env": [{"var_name": "home", "env": "JAVA_HOME"}]}},
    {"name": "by key file", "character": {"pattern_process": [{"process_name": "^keyed"}]},
     "versions": {"var_version_cmd":
       [{"path_base": "", "cmd": "$key_file_path --version", "out_regex": "version ([0-9.]+)"}]}},
    {"name": "by variable", "character": {"pattern_process": [{"process_name": "^homed"}]},
     "var": {"var_env": [{"var_name": "home", "env": "JAVA_HOME"}]},
     "versions": {"var_version_cmd":
       [{"path_base": "$home/server", "cmd": " --version", "out_regex": "version ([0-9.]+)"}]}},
    {"name": "bad", "character": {"pattern_process": [{"process_name": "("}]}},
    {"name": "backtracks", "character": {"pattern_process":
       [{"process_name": "^(([a-z])+.)+[A-Z]([a-z])+$"}]}}])rule";
}

const char* const kHostileNames[] = {
    "a;touch${IFS}PWNED;",
    "$(touch${IFS}PWNED)",
    "`touch${IFS}PWNED`",
    "'; touch PWNED; '",
    "\"; touch PWNED; \"",
    "line\ntouch PWNED\n",
    "a|touch${IFS}PWNED",
    "a&touch${IFS}PWNED&",
    "{touch,PWNED}",
    "\\\"$(touch PWNED)",
    ">PWNED",
    "touch PWNED",
};

// A name can't hold a "/", so what a command would make stands in its
// directory, which is "/".
TEST(SoftwareHostile, NothingThatAProcessChoosesIsExecuted) {
  EXPECT_TRUE(passesInNamespaces(kOwnMachine, [] {
    const std::string trace = "ledgora-pwned-" + std::to_string(time(nullptr));
    Machine machine(daringRules());
    int number = 0;
    for (std::string name : kHostileNames) {
      while (name.find("PWNED") != std::string::npos) name.replace(name.find("PWNED"), 5, trace);
      const std::string place = std::to_string(++number) + "/" + name;
      DaemonOptions options;
      machine.files().copy(place + "/server", LEDGORA_TEST_DAEMON);
      options.environment = {
          {"JAVA_HOME", machine.files().path(place)}, {"PATH", name}, {"PWD", name}};
      for (const char* program : {"/server", "/keyed", "/homed"}) {
        machine.start(place + program, options, {"0", name, "-c", name, "-jar", "\"" + name});
      }
      machine.start(std::to_string(number) + "/server" + name, options);
      machine.start(std::to_string(number) + "/keyed" + name, options);
    }
    machine.start(std::string(120, 'a') + "!");
    machine.start("plain/server");
    const std::string rows = machine.running();
    EXPECT_NE(rows.find("by path|1.2.3|\n"), std::string::npos) << rows;
    EXPECT_EQ(machine.asked("plain/server"), 1);
    EXPECT_EQ(rows.find("backtracks"), std::string::npos);
    EXPECT_NE(access(("/" + trace).c_str(), F_OK), 0) << machine.last().log;
    EXPECT_GT(machine.last().count("ommand"), 0);
    unlink(("/" + trace).c_str());
  }));
}

uid_t ownerOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_uid;
}

// An unprivileged user's program, older than the real one, that matches the
// same rule: neither is run with rights that aren't its own.
TEST(SoftwareHostile, AUsersProgramThatIsNamedLikeAServerGainsNothing) {
  EXPECT_TRUE(passesInNamespaces(kOwnMachine, [] {
    Machine machine(daringRules());
    for (const char* directory : {"user", "real"}) machine.files().dir(directory, 0777);
    DaemonOptions user;
    user.uid = kNobody;
    for (const char* program : {"/server", "/keyed"}) {
      machine.start(std::string("user") + program, user);
      machine.start(std::string("real") + program);
    }
    for (const char* directory : {"user", "real"}) {
      chmod(machine.files().path(directory).c_str(), 0777);
    }
    EXPECT_EQ(machine.running(),
              "by key file|1.2.3|\nby key file|1.2.3|\nby path|1.2.3|\nby path|1.2.3|\n");
    for (const char* program : {"/server", "/keyed"}) {
      SCOPED_TRACE(program);
      for (const char* directory : {"user", "real"}) {
        const std::string place = std::string(directory) + program;
        EXPECT_EQ(machine.asked(place), 1);
        EXPECT_EQ(ownerOf(machine.files().path(place + ".ran")),
                  directory == std::string("user") ? kNobody : 0);
      }
    }
  }));
}

TEST(SoftwareContainer, HasItsOwnPackageAndVersion) {
  EXPECT_TRUE(passesInNamespaces(kOwnMachine, [] {
    const std::string rules = readWhole(LEDGORA_SOURCE_DIR "/config/rule/soft/soft_app_linux.json");
    Machine machine(rules);
    TempRoot root;
    chmod(root.path().c_str(), 0755);
    root.copy("usr/sbin/rsyslogd", LEDGORA_TEST_DAEMON).file("etc/rsyslog.conf");
    root.file("var/lib/dpkg/status",
              "Package: rsyslog\nStatus: install ok installed\nVersion: 9.9.9-7\n"
              "Installed-Size: 11\nArchitecture: amd64\nDescription: x\n\n"
              "Package: base-files\nStatus: install ok installed\nVersion: 1\n\n");
    root.file("var/lib/dpkg/info/rsyslog.list", "/.\n/usr/sbin/rsyslogd\n/etc/rsyslog.conf\n");
    ContainerOptions options;
    options.root = root.path();
    options.hostPrograms = false;
    options.command = {"/usr/sbin/rsyslogd", "2"};
    const TestContainer container(options);
    machine.start("usr/sbin/rsyslogd", {}, {"1"});
    const auto rows = [&](const std::string& option) {
      const ProgramResult result = machine.program().type(7, {option});
      std::string out;
      std::istringstream lines(documentRows(
          result.document, {"name", "version", "conf_path", "environment", "binary_path", "pid"}));
      for (std::string line; std::getline(lines, line);) {
        if (line.find("rsyslog|") == 0 && line.find('[') != std::string::npos) {
          out += line.substr(0, line.rfind('|')) + "\n";
        }
      }
      return out;
    };
    const std::string inside = "rsyslog|9.9.9-7|/etc/rsyslog.conf|{\"type\":1,\"id\":\"" +
                               options.id + "\"}|/usr/sbin/rsyslogd\n";
    const std::string host = rows("option=0");
    EXPECT_NE(host.find(machine.files().path("usr/sbin/rsyslogd")), std::string::npos) << host;
    EXPECT_EQ(host.find(options.id), std::string::npos);
    EXPECT_EQ(rows("option=24"), inside);
    const std::string both = rows("option=8");
    EXPECT_EQ(both.size(), host.size() + inside.size()) << both;
    EXPECT_NE(both.find(inside), std::string::npos) << both;
  }));
}

}  // namespace
}  // namespace LedgoraTest
