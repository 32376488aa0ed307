#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/DocumentView.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

using namespace LedgoraTest;

namespace {

const std::vector<const char*> kJob{"cron_name", "exec_user", "exec_time", "exec_cmd"};

}  // namespace

TEST(ScheduleInfo, SystemAndUserCrontabs) {
  TempRoot outside;
  outside.file("job", "1 1 1 1 1 root /outside\n");
  TempRoot root;
  root.file("usr/share/crontab",
            "SHELL=/bin/sh\n# m h dom mon dow user command\n\n"
            "17 *\t* * *\troot    cd / && run-parts # hourly\n"
            "0 3 * * mon root /bin/x\r\n@reboot root /bin/boot\na 3 * * * root /bin/bad\n")
      .link("etc/crontab", "/usr/share/crontab")
      .modified("usr/share/crontab", 1700000000)
      .file("etc/cron.d/backup", "*/10 0-6 * jan sun bob /usr/bin/backup --all")
      .modified("etc/cron.d/backup", 1600000000)
      .link("etc/cron.d/linked", "/usr/share/crontab")
      .link("etc/cron.d/out", outside.path("job"))
      .fifo("etc/cron.d/fifo")
      .dir("etc/cron.d/sub")
      .file("var/spool/cron/carol", "5 4 * * * /bin/carol\n@daily /bin/no\n")
      .modified("var/spool/cron/carol", 0)
      .file("var/spool/cron/crontabs/dave", "# DO NOT EDIT\n1 2 3 4 5 /bin/dave '#cut'\n");
  ProgramRun program;
  const ProgramResult result = program.type(6, {"env=" + root.path()});
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  EXPECT_EQ(documentRows(result.document, kJob),
            "crontab|root|17 *\t* * *|cd / && run-parts \n"
            "crontab|root|0 3 * * mon|/bin/x\r\n"
            "backup|bob|*/10 0-6 * jan sun|/usr/bin/backup --all\n"
            "carol|carol|5 4 * * *|/bin/carol\n"
            "dave|dave|1 2 3 4 5|/bin/dave '\n");
  const std::string times = documentRows(result.document, {"creat_time", "start_status"});
  EXPECT_EQ(times.rfind("1700000000000|OFF\n1700000000000|OFF\n1600000000000|OFF\n|OFF\n", 0), 0U)
      << times;
  EXPECT_EQ(result.count("etc/cron.d/fifo file failed."), 1);
}

// A root has no cron service running, so the other test sees "OFF".
TEST(ScheduleInfo, StartStatusIsOnWhenACronServiceRuns) {
  if (::access("/etc/systemd/system", F_OK) != 0 || ::access("/etc/cron.d", F_OK) != 0) {
    GTEST_SKIP() << "no directories to mount over here";
  }
  TempRoot service;
  service.copy("cron", "/bin/sleep")
      .file("units/cron.service", "[Service]\nExecStart=" + service.path("cron") + " -f\n")
      .file("jobs/one", "1 2 3 4 5 root /bin/x\n");
  const pid_t daemon = ::fork();
  if (daemon == 0) {
    ::execl(service.path("cron").c_str(), "cron", "300", nullptr);
    ::_exit(127);
  }
  ProgramRun program;
  program.inChild([&service] {
    if (!LedgoraTest::enterMountNamespace()) ::_exit(9);
    ::mount(service.path("units").c_str(), "/etc/systemd/system", nullptr, MS_BIND, nullptr);
    ::mount(service.path("jobs").c_str(), "/etc/cron.d", nullptr, MS_BIND, nullptr);
  });
  const ProgramResult result = program.type(6);
  ::kill(daemon, SIGKILL);
  ::waitpid(daemon, nullptr, 0);
  EXPECT_NE(result.document.find("\"start_status\":\"ON\""), std::string::npos) << result.document;
  EXPECT_EQ(result.document.find("\"start_status\":\"OFF\""), std::string::npos);
}

TEST(ScheduleInfo, TenThousandJobsAndLimits) {
  std::string many;
  for (int i = 0; i < 10000; ++i) {
    many += "* * * * * root /bin/job " + std::to_string(i) + "\n";
  }
  TempRoot root;
  root.file("etc/cron.d/many", many);
  ProgramRun program;
  const struct {
    const char* limits;
    int records;
  } cases[] = {
      {"", 512},
      {"E_HOST_CRON=20000\n", 10000},
      {"E_HOST_CRON=3\n", 3},
      {"E_HOST_CRON=0\n", 0},
      {"E_HOST_CRON=-1\n", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.limits);
    program.tree().file("config/hostlimit.ini", std::string("[host_limit]\n") + c.limits);
    const ProgramResult result = program.type(6, {"env=" + root.path()});
    EXPECT_EQ(documentCount(result.document), c.records);
  }
}

TEST(ScheduleInfo, LinesThatAreNoJobsDontFillTheLog) {
  std::string noise;
  for (int i = 0; i < 200000; ++i) noise += "x\n";
  TempRoot root;
  root.file("etc/crontab", noise);
  ProgramRun program;
  const ProgramResult result = program.type(6, {"env=" + root.path()});
  EXPECT_EQ(result.document, "{\"list\":[]}");
  EXPECT_LT(result.log.size(), 10U << 20);
}
