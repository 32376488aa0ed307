// What the process table makes of text: rows of ps, files of /proc, names of
// control groups, output of a shell's set.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "common/StringUtils.h"
#include "hostmodel/EnvCmdCollectionUnit.h"
#include "hostmodel/ProcFileCollectionUnit.h"
#include "hostmodel/ProcessKeyCollectionUnit.h"
#include "hostmodel/PsCmdCollectionUnit.h"
#include "hostmodel/RootCommandPath.h"
#include "hostmodel/rootentry/MountInfo.h"
#include "hostmodel/rootentry/RootTarget.h"

namespace LedgoraCollect {
namespace {

std::string show(const std::map<std::string, std::string>& variables) {
  std::string text;
  for (const auto& [name, value] : variables) text += name + "=" + value + "|";
  return text;
}

TEST(ParseEORow, RowsAsPsWritesThem) {
  const std::string lstart = "Sun Nov 22 10:00:00 2026";
  const struct {
    const char* what;
    std::string line, want;  // pid, user, state, comm
  } cases[] = {
      {"plain", "  812   1 root       0 root  0 ?   " + lstart + " S  0.0  0.1 cron",
       "812 root S cron"},
      {"long user", "9 1 aaaabbbbccccddddeeeeffff 7 g 7 pts/0 " + lstart + " R+ 1.0 0.1 x",
       "9 aaaabbbbccccddddeeeeffff R+ x"},
      {"comm with blanks", "9 1 u 7 g 7 ? " + lstart + " S 0.0 0.1 Web Content", "9 u S Web"},
      {"parent 0", "2 0 root 0 root 0 ? " + lstart + " S 0.0 0.0 kthreadd", ""},
      {"parent 00 is another text", "2 00 root 0 root 0 ? " + lstart + " S 0.0 0.0 k",
       "2 root S k"},
      {"cut", "812 1 root 0 root 0 ? " + lstart + " S 0.0 0.1", ""},
      {"blanks only", "      ", ""},
      {"empty", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::vector<std::string> row = PsCmdCollectionUnit::parseEORow(c.line);
    EXPECT_EQ(row.empty() ? "" : row[0] + " " + row[2] + " " + row[12] + " " + row[15], c.want);
  }
}

TEST(IsBrokenOff, OnlyTheLastRowTells) {
  const std::string row = "812 1 root 0 root 0 ? Sun Nov 22 10:00:00 2026 S 0.0 0.1";
  const struct {
    const char* what;
    std::string text;
    bool want;
  } cases[] = {
      {"whole", row + " cron\n", false},
      {"a program without a name", row + " cron\n" + row + " \n", false},
      {"crashed at the user", row + " cron\n  813    1\n", true},
      {"nothing but the crash", "813 1", true},
      {"killed", row + " cron\n813 1 root 0 root 0 ? Sun Nov", true},
      {"an odd row before", "813 1\n" + row + " cron\n", false},
      {"no row", "", false},
      {"the buffer is full", std::string(1048574, 'x') + "\n", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(PsCmdCollectionUnit::isBrokenOff(c.text), c.want) << c.what;
  }
}

TEST(ParseEOResult, AProcessThatIsGoneAndAPidBeyondAllLeaveNoRow) {
  std::map<int, ProcessCacheUnit> processes;
  const std::string rest = " 1 root 0 root 0 ? Sun Nov 22 10:00:00 2026 S 0.0 0.1 gone\n";
  PsCmdCollectionUnit().parseEOResult(
      "4194303" + rest + "99999999999999999999" + rest + "-1" + rest + "x" + rest + "\n\n",
      processes);
  EXPECT_TRUE(processes.empty());
}

TEST(StartTime, LocalTimeWithoutDaylightSaving) {
  setenv("TZ", "UTC", 1);
  tzset();
  EXPECT_EQ(PsCmdCollectionUnit::getStartTime("10:00:00", 2026, 11, 22), 1795341600u);
  EXPECT_EQ(PsCmdCollectionUnit::getStartTime("", 2026, 11, 22), 0u);
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  // 12:00 of a summer's day is taken for 12:00 of winter time.
  EXPECT_EQ(PsCmdCollectionUnit::getStartTime("12:00:00", 2026, 7, 1), 1782903600u);
  unsetenv("TZ");
  tzset();
  EXPECT_EQ(PsCmdCollectionUnit::convertMonthNum("Jan"), 1);
  EXPECT_EQ(PsCmdCollectionUnit::convertMonthNum("Nov"), 11);
  EXPECT_EQ(PsCmdCollectionUnit::convertMonthNum("Dec"), 12);
  EXPECT_EQ(PsCmdCollectionUnit::convertMonthNum("jan"), 12);
}

TEST(KeyFile, LanguageAndScript) {
  const struct {
    const char* what;
    std::string path, cmdline, pwd, language, file;
  } cases[] = {
      {"absolute script", "/usr/bin/python3.8", "/usr/bin/python3 /opt/a/app.py -x", "/", "python",
       "/opt/a/app.py"},
      {"relative script", "/usr/bin/python3", "python app.py", "/srv/x", "python", "/srv/x/app.py"},
      {"no directory known", "/usr/bin/python3", "python app.py", "", "python", "app.py"},
      {"options first", "/usr/bin/perl5.30", "perl -w -T run.pl", "/p", "perl", "/p/run.pl"},
      {"value of an option", "/opt/jdk/bin/java", "java -cp lib.jar app.Main", "/j", "java",
       "/j/lib.jar"},
      {"capitals", "/opt/Java", "Java x", "", "java", "x"},
      {"shell alone", "/bin/bash", "bash", "/", "bash", ""},
      {"options alone", "/bin/bash", "bash -l", "/", "bash", ""},
      {"two blanks stop", "/bin/bash", "bash  a.sh", "/", "bash", ""},
      {"other shells are native", "/bin/dash", "sh x", "/", "linux", "//x"},
      {"javaw", "/bin/javaw", "javaw x", "", "linux", "x"},
      {"no letters", "/bin/123", "123 x", "", "linux", "x"},
      {"no path", "", "x y", "", "linux", "y"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ProcessCacheUnit record;
    record.setProcessPath(c.path);
    record.setProcessCmdline(c.cmdline);
    if (!c.pwd.empty()) record.setProcessEnv({{"PWD", c.pwd}});
    EXPECT_EQ(PsCmdCollectionUnit::getInterpreterLanguage(record), c.language);
    EXPECT_EQ(PsCmdCollectionUnit::getLanguageKeyPath(record), c.file);
  }
}

TEST(KeyFile, TheExecutableStandsInForAnUnknownScript) {
  ProcessCacheUnit record;
  record.setProcessPath("/bin/sh");
  record.setInterpreterLanguage("bash");
  record.setProcessCmdline("bash /no/such/script");
  EXPECT_EQ(PsCmdCollectionUnit().getKeyFilePath(record), "/bin/sh");
  EXPECT_FALSE(record.getMKeyFilePathFlag());
}

TEST(ProcessKey, WhatRunsAndWhere) {
  std::string host = "/usr/sbin/cron -f;/usr/sbin/cron";
  std::string contained = host + ";" + std::string(64, 'c');
  const struct {
    const char* what;
    PROCESS_KEY_INFO_S info;
    std::string want;
  } cases[] = {
      {"host", {"/usr/sbin/cron", "/usr/sbin/cron -f", ""}, StringUtils::getMd5Str(host)},
      {"blanks around",
       {" /usr/sbin/cron\n", "/usr/sbin/cron -f \t", ""},
       StringUtils::getMd5Str(host)},
      {"container",
       {"/usr/sbin/cron", "/usr/sbin/cron -f", std::string(64, 'c')},
       StringUtils::getMd5Str(contained)},
      {"no path", {"", "cron", ""}, ""},
      {"no command line", {"/usr/sbin/cron", "", ""}, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::string key;
    EXPECT_EQ(ProcessKeyCollectionUnit::creatProcessKey(c.info, key), !c.want.empty());
    EXPECT_EQ(key, c.want);
  }
}

TEST(ContainerInfo, NamesOfControlGroups) {
  const std::string id(64, 'a');
  const struct {
    const char* what;
    std::string line, want;
  } cases[] = {
      {"bare id of docker", "1:name=systemd:/docker/" + id, "containerd " + id},
      {"docker scope", "1:name=systemd:/system.slice/docker-" + id + ".scope", "docker " + id},
      {"containerd scope", "1:name=systemd:/system.slice/cri-containerd-" + id + ".scope",
       "containerd " + id},
      {"whole alphabet", "1:name=systemd:/x/" + std::string(64, 'z'),
       "containerd " + std::string(64, 'z')},
      {"service", "1:name=systemd:/system.slice/ssh.service", ""},
      {"root", "1:name=systemd:/", ""},
      {"no slash", "1:name=systemd:", ""},
      {"upper case", "1:name=systemd:/docker/" + std::string(64, 'A'), ""},
      {"short id in a long scope", "1:name=systemd:/docker-" + std::string(60, 'a') + ".scope", ""},
      {"65 characters", "1:name=systemd:/docker/" + id + "a", ""},
      {"other runtime", "1:name=systemd:/machine.slice/libpod-" + id + ".scope", ""},
      {"signs", "1:name=systemd:/" + std::string(63, 'a') + "%", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ContainerInfo info;
    const bool found = ProcFileCollectionUnit::paramContainerInfo(c.line, info);
    EXPECT_EQ(found ? info.containerType + " " + info.containerId : "", c.want);
  }
}

TEST(ParseEnviron, FieldsAsRulesKnowThem) {
  const struct {
    const char* what;
    std::string text, want;
  } cases[] = {
      {"two variables", "A=1;B=2;", "A=1|B=2|"},
      {"a value with a semicolon", "A=1;tail;B=x=y", "A=1|B=x=y|"},
      {"first wins", "A=1;A=2", "A=1|"},
      {"blanks", " A =1 ; B=\t2\n", "A =1|B=\t2|"},
      {"no name", "=x;A=", "=x|A=|"},
      {"nothing", ";;;", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(show(ProcFileCollectionUnit::parseEnviron(c.text)), c.want);
  }
}

TEST(ParseMemoryLine, TheFirstNumber) {
  EXPECT_EQ(ProcFileCollectionUnit::parseMemoryLine("VmRSS:\t    1024 kB 7"), "1024kB");
  EXPECT_EQ(ProcFileCollectionUnit::parseMemoryLine("VmRSS:"), "0kB");
}

TEST(ParseSetLines, WhatAShellPrints) {
  std::map<std::string, std::string> variables;
  EnvCmdCollectionUnit::parseSetLines(
      {"HOME='/root'", "A='a b'", "EMPTY=", "QUOTED=''", "A=second", "no assignment", "=value", "",
       "IFS=' \t", "'", "f () { x=y; }", "LEDGORA_START_TIME=1700000000000"},
      variables);
  EXPECT_EQ(show(variables), "A=a b|HOME=/root|IFS= \t|f () { x=y; }|");
}

TEST(DefaultPath, TheDefaultDirectoriesComeFirst) {
  const std::string defaults = "PATH=/usr/bin:/bin:/usr/sbin:/sbin:/usr/local/sbin:/usr/local/bin:";
  EXPECT_EQ(EnvCmdCollectionUnit::mergeDefaultPath(nullptr), defaults);
  EXPECT_EQ(EnvCmdCollectionUnit::mergeDefaultPath("/opt/x/bin:/usr/bin"),
            defaults + "/opt/x/bin:");
  EXPECT_EQ(EnvCmdCollectionUnit::mergeDefaultPath("/a:/sbin:/a"), defaults + "/a:/a:");
}

// Nothing in the PATH of a root decides what runs outside of it.
TEST(RootCommandPath, EntriesOfTheRootLeadNowhereOutside) {
  const struct {
    const char* what;
    RootCommandPath command;
  } cases[] = {
      {"plain", {"/usr/bin:/bin", 0}},
      {"rights of a process", {"/usr/bin", 4711}},
      {"relative and empty entries", {".::bin:", 0}},
      {"entries as ours", {"/dev/null/rights-of-1:/dev/null//x:rights-of-2", 0}},
      {"shell text", {";LD_PRELOAD=/x:$(id)", 0}},
      {"nothing", {"", 7}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = makeRootCommandPath("/opt/x/libexec", "/usr/bin:/bin", c.command);
    EXPECT_EQ(path.find("/opt/x/libexec:/dev/null/"), 0u);
    std::vector<std::string> directories = StringUtils::split(path, ":", false);
    int outside = 0;
    for (const std::string& entry : directories) outside += entry.find("/dev/null/") != 0;
    EXPECT_EQ(outside, 3);
    const RootCommandPath back = readRootCommandPath(path);
    EXPECT_EQ(back.inner, c.command.inner);
    EXPECT_EQ(back.asProcess, c.command.asProcess);
  }
}

TEST(ProcessRoot, PrefixAndPid) {
  const struct {
    std::string root, want;
  } cases[] = {
      {"/proc/12/root", " 12"},  {"/mnt/host//proc/12/root", "/mnt/host/ 12"},
      {"/proc/12/root/", " 12"}, {"/proc/1/root/proc/12/root", "/proc/1/root 12"},
      {"/proc/self/root", ""},   {"/proc/12/rootfs", ""},
      {"/proc/12/root/x", ""},   {"/srv/root", ""},
      {"/proc/root", ""},        {"", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.root);
    std::string prefix, pid;
    EXPECT_EQ(parseProcessRoot(c.root, prefix, pid) ? prefix + " " + pid : "", c.want);
  }
}

TEST(MountInfo, LinesAsKernelsWriteThem) {
  const std::vector<MountEntry> mounts = parseMountInfo(
      "36 35 98:0 /m /a\\040b\\134 rw,noatime shared:1 master:2 - ext3 /dev/root rw\n"
      "37 35 98:0 / / ro,nosuid,nodev,relatime - proc proc rw\n"
      "x 35 98:0 / /bad rw - proc proc rw\n38 35 98:0 / /cut rw\n39");
  ASSERT_EQ(mounts.size(), 2u);
  EXPECT_EQ(mounts[0].point, "/a b\\");
  EXPECT_EQ(mounts[0].fileSystem, "ext3");
  EXPECT_EQ(mounts[1].id, 37);
  EXPECT_EQ(mounts[1].fileSystem, "proc");
}

}  // namespace
}  // namespace LedgoraCollect
