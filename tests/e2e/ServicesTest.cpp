#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "common/support/Handles.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

using namespace LedgoraTest;
namespace fs = std::filesystem;

namespace LedgoraCollect {
namespace {

constexpr const char* kUnitDirs[] = {"/usr/lib/systemd/system", "/usr/lib/systemd/user",
                                     "/lib/systemd/system",     "/lib/systemd/user",
                                     "/etc/systemd/system",     "/etc/systemd/user"};

std::string text(const cJSON* object, const char* key) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
  return cJSON_IsString(item) ? item->valuestring : "(no string)";
}

// One line for each service, sorted: "name status user start executable (description)".
std::string show(const ProgramResult& result) {
  const JsonHandle document(cJSON_Parse(result.document.c_str()));
  std::vector<std::string> lines;
  const cJSON* item = nullptr;
  cJSON_ArrayForEach(item, cJSON_GetObjectItem(document.get(), "list")) {
    lines.push_back(text(item, "server_name") + " " + text(item, "server_status") + " " +
                    text(item, "start_user") + " " + text(item, "start_time") + " " +
                    text(item, "exec_file_path") + " (" + text(item, "server_desc") + ")" +
                    text(item, "start_type") + "\n");
  }
  std::sort(lines.begin(), lines.end());
  std::string shown;
  for (const std::string& line : lines) shown += line;
  return shown;
}

TEST(Services, EveryUnitFileOfThisMachine) {
  std::set<std::string> wanted;
  for (const char* directory : kUnitDirs) {
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(directory, missing)) {
      if (entry.path().extension() == ".service") wanted.insert(entry.path().stem().string());
    }
  }
  if (wanted.empty()) GTEST_SKIP() << "no unit files on this machine";
  const ProgramResult result = ProgramRun().type(19);
  const JsonHandle document(cJSON_Parse(result.document.c_str()));
  std::set<std::string> names;
  const cJSON* item = nullptr;
  cJSON_ArrayForEach(item, cJSON_GetObjectItem(document.get(), "list")) {
    names.insert(text(item, "server_name"));
  }
  EXPECT_EQ(names, wanted);
}

TEST(Services, RunningOnesHaveTheirProcess) {
  TempRoot machine;
  machine.copy("usr/bin/lcdaemon", "/bin/sleep")
      .file("units/one.service", "[Unit]\nDescription=One\n[Service]\nUser=www\nExecStart=" +
                                     machine.path("usr/bin/lcdaemon") + " 600\n")
      .file("units/two.service", "[Service]\nUser=www\nExecStart=/usr/bin/none\nType=oneshot\n");
  const auto body = [&machine] {
    TempRoot empty;
    std::string unitDir;
    for (const char* directory : kUnitDirs) {
      if (!fs::is_directory(directory)) continue;
      ASSERT_EQ(::mount(empty.path().c_str(), directory, nullptr, MS_BIND, nullptr), 0);
      unitDir = directory;
    }
    if (unitDir.empty()) GTEST_SKIP() << "no directory of unit files to mount on";
    const std::string units = machine.path("units");
    ASSERT_EQ(::mount(units.c_str(), unitDir.c_str(), nullptr, MS_BIND, nullptr), 0);
    const std::string daemon = machine.path("usr/bin/lcdaemon");
    const std::string started =
        runProgram({"/bin/sh", "-c",
                    daemon + " 600 >/dev/null 2>&1 & echo $! >" + machine.path("pid") +
                        "; sleep 0.2; date -d \"$(ps -o lstart= -p $!)\" +%s"})
            .out;
    const std::string shown = show(ProgramRun().type(19));
    EXPECT_EQ(runProgram({"/bin/sh", "-c", "kill $(cat " + machine.path("pid") + ")"}).exitStatus,
              0);
    EXPECT_EQ(shown, "one RUN www " + started.substr(0, started.find('\n')) + "000 " + daemon +
                         " (One)\ntwo STOP www  /usr/bin/none ()\n");
  };
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, body));
}

TEST(Services, RootHasItsOwnUnitsAndNothingOfTheHost) {
  TempRoot outside;
  outside.file("secret.service", "[Unit]\nDescription=outside\n[Service]\nUser=u\n");
  TempRoot root;
  root.file("usr/lib/systemd/system/ssh.service",
            "[Unit]\nDescription=OpenBSD Secure Shell server\n[Service]\nUser=sshd\n"
            "EnvironmentFile=-/etc/default/ssh\nExecStartPre=/usr/sbin/sshd -t\n"
            "ExecStart=/usr/sbin/sshd -D $SSHD_OPTS\nPIDFile=/proc/self/stat\n")
      .link("lib", "usr/lib")
      .link("etc/systemd/system/sshd.service", "/lib/systemd/system/ssh.service")
      .link("etc/systemd/system/secret.service", outside.path("secret.service"))
      .link("etc/systemd/user", outside.path())
      .link("usr/lib/systemd/user", "/etc");
  ProgramRun program;
  EXPECT_EQ(show(program.type(19, {"env=" + root.path()})),
            "secret STOP    ()\n"
            "ssh STOP sshd  /usr/sbin/sshd (OpenBSD Secure Shell server)\n"
            "sshd STOP sshd  /usr/sbin/sshd (OpenBSD Secure Shell server)\n");
  const TempRoot empty;
  EXPECT_EQ(program.type(19, {"env=" + empty.path()}).document, "{\"list\":[]}");
}

TEST(Services, InitScriptsOnlyWithoutUnits) {
  TempRoot root;
  root.file("etc/init.d/network", "#!/bin/sh\n", 0755)
      .file("etc/init.d/functions", "x=1\n", 0644)
      .link("etc/rc.d/init.d", "../init.d");
  ProgramRun program;
  EXPECT_EQ(show(program.type(19, {"env=" + root.path()})), "network STOP    ()\n");
  root.file("lib/systemd/system/a.socket").file("etc/systemd/user/b.service", "[Service]\nUser=u");
  EXPECT_EQ(show(program.type(19, {"env=" + root.path()})), "b STOP u   ()\n");
}

}  // namespace
}  // namespace LedgoraCollect
