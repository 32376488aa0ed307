#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>

#include "common/InspectedRoot.h"
#include "hostmodel/ServiceCollection.h"
#include "hostmodel/SystemctlFileCollectionUnit.h"
#include "support/TempRoot.h"

using LedgoraTest::TempRoot;

namespace LedgoraCollect {
namespace {

using Processes = ServicesCollectionUnit::Processes;

ProcessCacheUnit process(int pid, const char* name, const char* path, const char* keyFile,
                         const char* state) {
  ProcessCacheUnit unit;
  unit.setProcessPid(pid);
  unit.setProcessName(name);
  unit.setProcessPath(path);
  unit.setKeyFilePath(keyFile);
  unit.setProcessStatus(state);
  unit.setProcessStartTime(static_cast<std::uint64_t>(1000 + pid));
  unit.setUserName("runner");
  return unit;
}

Processes tableOf(const std::vector<ProcessCacheUnit>& list) {
  Processes table;
  for (const ProcessCacheUnit& unit : list) table.emplace(unit.getMProcessPid(), unit);
  return table;
}

// "name status user start executable description" of each service, sorted.
std::string show(SERVICE_TYPE type, const TempRoot& root, const Processes& processes = {}) {
  InspectedRoot::setEnvironment(root.path());
  const std::unique_ptr<ServicesCollectionUnit> source(ServicesCollectionUnit::getInstance(type));
  source->setEnvironment(root.path());
  std::vector<ServiceCacheUnit> services;
  std::set<std::string> seen;
  const bool answered = source->collectServices(services, seen, processes);
  std::vector<std::string> lines;
  for (const ServiceCacheUnit& s : services) {
    lines.push_back(s.getMServerName() + " " + s.getMServerStatus() + " " + s.getMStartUser() +
                    " " + std::to_string(s.getMStartTime()) + " " + s.getMExecFilePath() + " " +
                    s.getMServerDesc());
  }
  std::sort(lines.begin(), lines.end());
  std::string text = answered ? "" : "no answer\n";
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

std::string unitFile(TempRoot& root, std::string_view content, const Processes& processes = {}) {
  root.file("etc/systemd/system/x.service", content);
  return show(SERVICE_TYPE_SYSTEMCTL, root, processes);
}

TEST(SystemctlFileCollectionUnit, UnitFilesAsTheyAreWritten) {
  const std::string longLine(10 << 20, 'a');
  const struct {
    const char* what;
    std::string content, want;
  } cases[] = {
      {"plain", "[Unit]\nDescription=An X\n[Service]\nUser=www\nExecStart=/usr/bin/x --a=/b -c\n",
       "x STOP www 0 /usr/bin/x An X\n"},
      {"CRLF", "[Unit]\r\nDescription=An X\r\n[Service]\r\nExecStart=/usr/bin/x\r\n",
       "x STOP root 0 /usr/bin/x An X\n"},
      {"prefixes", "[Service]\nUser=u\nExecStart=-@!/usr/bin/x y\n", "x STOP u 0 /usr/bin/x \n"},
      {"shell", "[Service]\nUser=u\nExecStart=-/bin/sh -c /opt/app/run.sh\n",
       "x STOP u 0 /opt/app/run.sh \n"},
      {"shell, quoted", "[Service]\nUser=u\nExecStart=/bin/bash -c 'exec /opt/a; /opt/b'\n",
       "x STOP u 0 /opt/a \n"},
      {"nothing but a shell", "[Service]\nUser=u\nExecStart=/bin/sh -c true\n", "x STOP u 0  \n"},
      {"the first of a repeated key", "[Service]\nUser=u\nExecStart=/a/b\nExecStart=/c/d\n",
       "x STOP u 0 /a/b \n"},
      {"emptied and set anew", "[Service]\nUser=u\nExecStart=/a/b\nExecStart=\nExecStart=/c/d\n",
       "x STOP u 0 /c/d \n"},
      {"continued line", "[Service]\nUser=u\nExecStart=-$X \\\n  /a/b \\\n  c\n",
       "x STOP u 0 /a/b \n"},
      {"no path", "[Service]\nUser=u\nType=oneshot\nExecStart=true\n", "x STOP u 0  \n"},
      {"key of another section", "[Install]\nExecStart=/a/b\n[Service]\nUser=u\n",
       "x STOP u 0  \n"},
      {"over the size of unit files", "[Service]\nExecStart=/" + longLine, "x STOP  0  \n"},
      {"empty", "", "x STOP root 0  \n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TempRoot root;
    EXPECT_EQ(unitFile(root, c.content), c.want);
  }
}

TEST(SystemctlFileCollectionUnit, NamesAndWhatStandsInAUnitsPlace) {
  TempRoot root;
  const std::string_view unit = "[Service]\nUser=u\nExecStart=/usr/bin/g\n";
  root.file("lib/systemd/system/getty@.service", unit)
      .file("lib/systemd/system/foo.socket", unit)
      .file("lib/systemd/system/.service", unit)
      .file("lib/systemd/system/foo.service.d/10-more.conf", unit)
      .dir("lib/systemd/system/dir.service")
      .fifo("lib/systemd/system/fifo.service")
      .link("lib/systemd/system/masked.service", "/dev/null")
      .link("lib/systemd/system/loop.service", "loop.service")
      .file("opt/unit", unit)
      .link("lib/systemd/user/absolute.service", "/opt/unit")
      .link("lib/systemd/user/relative.service", "../../../opt/unit")
      .link("lib/systemd/user/out.service", "../../../../../../../../opt/unit");
  EXPECT_EQ(show(SERVICE_TYPE_SYSTEMCTL, root),
            "absolute STOP u 0 /usr/bin/g \n"
            "dir STOP  0  \n"
            "fifo STOP  0  \n"
            "getty@ STOP u 0 /usr/bin/g \n"
            "loop STOP  0  \n"
            "masked STOP  0  \n"
            "out STOP u 0 /usr/bin/g \n"
            "relative STOP u 0 /usr/bin/g \n");
}

TEST(SystemctlFileCollectionUnit, FirstDirectoryWinsUnlessTheProgramDiffers) {
  TempRoot root;
  root.file("usr/lib/systemd/system/a.service", "[Service]\nUser=u\nExecStart=/bin/a\n")
      .link("lib", "usr/lib")
      .file("etc/systemd/system/a.service", "[Service]\nUser=other\nExecStart=/opt/a\n")
      .file("usr/lib/systemd/user/b.service", "[Service]\nUser=u\nExecStart=/bin/b\n")
      .file("etc/systemd/user/b.service", "[Service]\nUser=other\nExecStart=/bin/b x\n");
  EXPECT_EQ(show(SERVICE_TYPE_SYSTEMCTL, root),
            "a STOP other 0 /opt/a \na STOP u 0 /bin/a \nb STOP u 0 /bin/b \n");
  EXPECT_EQ(show(SERVICE_TYPE_SYSTEMCTL, TempRoot()), "no answer\n");
}

TEST(SystemctlFileCollectionUnit, StateComesFromPidFileThenNameThenPath) {
  const Processes processes = tableOf({process(7, "x", "/usr/bin/python3", "/opt/x.py", "S"),
                                       process(8, "other", "/usr/bin/x", "/usr/bin/x", "T"),
                                       process(9, "x", "/late", "/late", "R")});
  const std::string unit = "[Service]\nUser=u\nPIDFile=/run/x.pid\nExecStart=/usr/bin/x\n";
  const std::string byName = "x RUN u 1007 /opt/x.py \n";
  const struct {
    const char *what, *pidFile;
    std::string want;
  } cases[] = {
      {"pid file", " 8\n", "x STOP u 1008 /usr/bin/x \n"},
      {"first number", "pid=9 of 8", "x RUN u 1009 /late \n"},
      {"gone", "4711\n", byName},
      {"no number", "none\n", byName},
      {"no int", "99999999999999999999\n", byName},
      {"empty", "", byName},
      {"missing", nullptr, byName},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TempRoot root;
    if (c.pidFile) root.file("run/x.pid", c.pidFile);
    EXPECT_EQ(unitFile(root, unit, processes), c.want);
  }
  TempRoot root;
  EXPECT_EQ(unitFile(root, unit, tableOf({processes.at(8)})), "x STOP u 1008 /usr/bin/x \n");
  EXPECT_EQ(unitFile(root, unit, tableOf({process(3, "xx", "/usr/bin/x2", "k", "S")})),
            "x STOP u 0 /usr/bin/x \n");
  // A process without executable is nobody's.
  EXPECT_EQ(unitFile(root, "[Service]\nUser=u\nType=oneshot\nExecStart=reboot\n",
                     tableOf({process(2, "updated", "", "k", "S")})),
            "x STOP u 0  \n");
}

TEST(ServiceFileCollectionUnit, ExecutableScriptsByTheirNames) {
  TempRoot root;
  root.file("etc/init.d/sshd", "#!/bin/sh\n", 0755)
      .file("etc/init.d/README", "text", 0644)
      .link("etc/init.d/dangling", "/nowhere")
      .file("usr/libexec/mysql.server", "", 0755)
      .link("etc/init.d/mysql", "/usr/libexec/mysql.server")
      .link("etc/rc.d/init.d", "../init.d");
  const Processes processes =
      tableOf({process(5, "sshd", "/usr/sbin/sshd", "/usr/sbin/sshd", "D")});
  EXPECT_EQ(show(SERVICE_TYPE_SERVICE, root, processes),
            "mysql STOP  0  \nsshd RUN runner 1005 /usr/sbin/sshd \n");
  EXPECT_EQ(show(SERVICE_TYPE_SERVICE, TempRoot()), "");
}

TEST(ServiceCacheUnit, StatusByStateLetter) {
  const struct {
    const char *state, *want;
  } cases[] = {{"S", "RUN"}, {"R", "RUN"}, {"T", "STOP"}, {"t", "STOP"},
               {"D", "RUN"}, {"Z", "RUN"}, {"", "STOP"},  {"Ss", "STOP"}};
  for (const auto& c : cases) {
    ServiceCacheUnit unit;
    unit.setServerStatusByProcess(c.state);
    EXPECT_EQ(unit.getMServerStatus(), c.want) << c.state;
  }
}

}  // namespace
}  // namespace LedgoraCollect
