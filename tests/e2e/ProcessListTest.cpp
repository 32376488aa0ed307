// Type 3 on this machine, in roots and with containers, beside what ps says.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "collect/CollectProcessInfo.h"
#include "common/StringUtils.h"
#include "common/support/Handles.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

namespace LedgoraTest {
namespace {

using LedgoraCollect::JsonHandle;

const char kLimits[] = "[host_limit]\nE_HOST_PROCESS=100000\n";

/// The rows of a document of type 3, by pid, member by member.
using Rows = std::map<int, std::map<std::string, std::string>>;

Rows rowsOf(const std::string& document) {
  Rows rows;
  const JsonHandle json(cJSON_Parse(document.c_str()));
  const cJSON* list = cJSON_GetObjectItem(json.get(), "list");
  EXPECT_TRUE(cJSON_IsArray(list)) << document.substr(0, 200);
  for (const cJSON* item = list == nullptr ? nullptr : list->child; item; item = item->next) {
    std::map<std::string, std::string> row;
    for (const cJSON* member = item->child; member; member = member->next) {
      if (cJSON_IsString(member)) row[member->string] = member->valuestring;
    }
    const cJSON* environment = cJSON_GetObjectItem(item, "environment");
    row["kind"] = std::to_string(cJSON_GetObjectItem(environment, "type")->valueint);
    row["id"] = cJSON_GetObjectItem(environment, "id")->valuestring;
    rows[std::stoi(row["process_id"])] = row;
  }
  return rows;
}

Rows listed(const std::vector<std::string>& arguments) {
  ProgramRun program;
  program.tree().file("config/hostlimit.ini", kLimits);
  const ProgramResult result = program.type(3, arguments);
  EXPECT_EQ(result.exitStatus, 0) << result.log;
  return rowsOf(result.document);
}

/// Processes of a test's own, ended with it.
class Children {
 public:
  ~Children() {
    for (const pid_t pid : mPids) kill(pid, SIGKILL);
    for (const pid_t pid : mPids) waitpid(pid, nullptr, 0);
  }
  pid_t start(const std::string& program, const std::vector<std::string>& words, uid_t uid = 0) {
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t pid = fork();
    if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (setuid(uid) == 0) execv(program.c_str(), arguments.data());
      _exit(127);
    }
    close(ends[1]);
    char nothing;
    EXPECT_EQ(read(ends[0], &nothing, 1), 0);  // closed by the start of the program
    close(ends[0]);
    mPids.push_back(pid);
    return pid;
  }
  pid_t idle() {
    const pid_t pid = fork();
    if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (;;) pause();
    }
    mPids.push_back(pid);
    return pid;
  }
  pid_t zombie() {
    const pid_t pid = fork();
    if (pid == 0) _exit(0);
    siginfo_t info;
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT), 0);
    mPids.push_back(pid);
    return pid;
  }

 private:
  std::vector<pid_t> mPids;
};

struct PsRow {
  std::string parent, user, arguments;
};

// Some releases of ps crash when a process ends under them.
std::map<int, PsRow> askPs() {
  ProgramResult result;
  for (int attempt = 0; attempt < 20 && result.exitStatus != 0; ++attempt) {
    result = runProgram({"/bin/ps", "-ww", "-eo", "pid=,ppid=,user:32=,args="}, {{"LC_ALL", "C"}});
  }
  EXPECT_EQ(result.exitStatus, 0);
  std::map<int, PsRow> rows;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    int pid = 0;
    PsRow row;
    fields >> pid >> row.parent >> row.user >> std::ws;
    std::getline(fields, row.arguments);
    rows[pid] = row;
  }
  return rows;
}

bool isPlain(const std::string& text) {
  return text.find_first_not_of(
             " !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_"
             "`abcdefghijklmnopqrstuvwxyz{|}~") == std::string::npos;
}

bool hasCommandLine(int pid) {
  return !readWhole("/proc/" + std::to_string(pid) + "/cmdline").empty();
}

// Whatever lives before and after the run is in the list, and as ps has it.
void expectAgreement(const std::map<int, PsRow>& before, const Rows& rows,
                     const std::map<int, PsRow>& after) {
  int compared = 0;
  for (const auto& [pid, row] : before) {
    const auto later = after.find(pid);
    if (later == after.end() || later->second.arguments != row.arguments ||
        later->second.parent != row.parent) {
      continue;
    }
    SCOPED_TRACE(std::to_string(pid) + " " + row.arguments.substr(0, 80));
    const auto found = rows.find(pid);
    if (row.parent == "0" || !hasCommandLine(pid) || row.arguments.find("grep") == 0) {
      EXPECT_TRUE(row.parent != "0" || found == rows.end());
      continue;
    }
    ASSERT_NE(found, rows.end());
    EXPECT_EQ(found->second.at("parent_id"), row.parent);
    EXPECT_EQ(found->second.at("process_user_name"), row.user);
    std::string arguments = found->second.at("process_cmd_line");
    if (isPlain(arguments) && arguments.size() < 60000) {
      EXPECT_EQ(arguments, LedgoraCollect::StringUtils::trim(row.arguments, " "));
    }
    ++compared;
  }
  EXPECT_GT(compared, 5);
  for (const auto& [pid, row] : rows) EXPECT_NE(row.at("parent_id"), "0") << pid;
}

constexpr char kLongUser[] = "abcdefghijklmnopqrstuvwx";

void compareWithPs() {
  TempRoot files;
  std::ofstream(files.path("passwd"))
      << readWhole("/etc/passwd") << kLongUser << ":x:54321:54321::/:/bin/sh\n";
  ASSERT_EQ(mount(files.path("passwd").c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr), 0);
  chmod(files.path().c_str(), 0755);
  chmod(files.path("passwd").c_str(), 0644);
  files.copy("fifteenletters1", "/bin/sleep").copy("removed", "/bin/sleep");
  Children children;
  const pid_t user = children.start("/bin/sleep", {"sleep", "1000"}, 54321);
  const pid_t named = children.start(files.path("fifteenletters1"), {"x", "1001"});
  const pid_t deleted = children.start(files.path("removed"), {"removed", "1002"});
  files.remove("removed");
  // Stopped rather than waiting for a child, which would outlive the shell.
  const std::string wait = "kill -STOP $$; :";
  const pid_t big = children.start("/bin/sh", {"sh", "-c", wait, std::string(102400, 'a')});
  const pid_t odd =
      children.start("/bin/sh", {"sh", "-c", wait, "it's \"so\"", "two\nlines", "bad\xff\xfe", ""});
  const pid_t stopped = children.start("/bin/sleep", {"sleep", "1004"});
  kill(stopped, SIGSTOP);
  const pid_t zombie = children.zombie();
  const std::map<int, PsRow> before = askPs();
  // With containers, which other tests may have at this time.
  const Rows rows = listed({"option=9"});
  expectAgreement(before, rows, askPs());
  const auto text = [&rows](pid_t pid, const char* member) {
    const auto row = rows.find(pid);
    return row == rows.end() ? "no row" : row->second.at(member);
  };
  EXPECT_EQ(text(user, "process_user_name"), kLongUser);
  EXPECT_EQ(text(user, "process_user_uid"), "54321");
  EXPECT_EQ(text(named, "process_name"), "fifteenletters1");
  EXPECT_EQ(text(deleted, "process_path"), "");
  EXPECT_EQ(text(deleted, "proc_key"), "");
  EXPECT_EQ(text(deleted, "process_name"), "removed");
  // The first 64 KiB are read.
  EXPECT_EQ(text(big, "process_cmd_line"),
            "sh -c " + wait + " " + std::string(65536 - 7 - wait.size(), 'a'));
  EXPECT_EQ(text(odd, "process_cmd_line"),
            "sh -c " + wait + " it's \"so\" two\nlines bad\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(text(stopped, "status"), "T");
  std::string memory = text(stopped, "mem_usage");
  memory.insert(memory.find('k'), " ");
  const std::string status = readWhole("/proc/" + std::to_string(stopped) + "/status");
  EXPECT_NE(status.find(" " + memory + "\n", status.find("VmRSS:")), std::string::npos)
      << memory << "\n"
      << status;
  EXPECT_EQ(text(zombie, "process_name"), "no row");
  umount2("/etc/passwd", MNT_DETACH);
}

TEST(ProcessList, AgreesWithPs) { EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, compareWithPs)); }

TEST(ProcessList, ContainersAsTheirRuntimesNameThem) {
  TempRoot root;
  root.file("opt/job.sh", "kill -STOP $$\n", 0755);
  ContainerOptions docker;
  docker.root = root.path();
  docker.command = {"/bin/bash", "/opt/job.sh"};
  docker.id = std::string(64, 'd');
  const TestContainer scoped(docker);
  ContainerOptions bare = docker;
  bare.command = {"/bin/sleep", "1000"};
  bare.id = std::string(64, 'e');
  bare.scope = false;
  const TestContainer plain(bare);

  const Rows hosts = listed({"option=1"});
  EXPECT_EQ(hosts.count(scoped.pid()), 0u);
  EXPECT_EQ(hosts.count(plain.pid()), 0u);
  EXPECT_EQ(hosts.count(getpid()), 1u);
  EXPECT_TRUE(listed({"option=17"}).empty());
  const Rows contained = listed({"option=25"});
  EXPECT_EQ(contained.count(getpid()), 0u);
  for (const auto& [pid, row] : contained) EXPECT_NE(row.at("kind"), "0") << pid;

  Rows all = listed({"option=9"});
  EXPECT_EQ(all.count(getpid()), 1u);
  ASSERT_EQ(all.count(scoped.pid()), 1u);
  ASSERT_EQ(all.count(plain.pid()), 1u);
  auto& shell = all[scoped.pid()];
  EXPECT_EQ(shell["kind"] + " " + shell["id"], "1 " + docker.id);
  EXPECT_EQ(shell["process_path"], "/usr/bin/bash");
  std::string key = "/bin/bash /opt/job.sh;/usr/bin/bash;" + docker.id;
  EXPECT_EQ(shell["proc_key"], LedgoraCollect::StringUtils::getMd5Str(key));
  EXPECT_EQ(all[plain.pid()]["kind"] + " " + all[plain.pid()]["id"], "2 " + bare.id);

  LedgoraCollect::CollectProcessInfo collector;
  std::map<int, LedgoraCollect::PROC_EX_INFO_S> records;
  ASSERT_TRUE(collector.parseProcessesInfo(records));
  const auto& record = records[scoped.pid()];
  EXPECT_EQ(record.keyFilePath, "/opt/job.sh");  // there in the container's root only
  EXPECT_TRUE(record.keyFilePathFlag);
  EXPECT_EQ(record.processBasePath, "/proc/" + std::to_string(scoped.pid()) + "/root");
}

/// A root with this machine's programs, in a mount namespace of the test.
void bindPrograms(TempRoot& root) {
  root.dir("dev").dir("proc").dir("usr");
  for (const char* link : {"bin", "lib", "lib64"}) root.link(link, std::string("usr/") + link);
  ASSERT_EQ(mount("/usr", root.path("usr").c_str(), nullptr, MS_BIND, nullptr), 0);
}

TEST(ProcessList, ARootWithoutAProcFileSystemHasNoProcess) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, [] {
    TempRoot root;
    bindPrograms(root);
    root.link("etc", "/etc");  // leads to the root's own etc, which is this link
    ProgramRun program;
    const ProgramResult result = program.type(3, {"option=1", "env=" + root.path()});
    EXPECT_EQ(result.document, "");
    EXPECT_EQ(result.count("ps -eo pid,ppid"), 2) << result.messages();
    umount2(root.path("usr").c_str(), MNT_DETACH);
  }));
}

// The processes of the namespace whose proc file system is mounted in the
// root, numbered as it numbers them; its first process has no parent there.
TEST(ProcessList, ARootShowsTheProcessesOfItsProcFileSystem) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, [] {
    TempRoot root;
    bindPrograms(root);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const auto first = static_cast<pid_t>(
        syscall(SYS_clone, CLONE_NEWPID | SIGCHLD, nullptr, nullptr, nullptr, nullptr));
    if (first == 0) {
      for (int i = 0; i < 2; ++i) {
        if (fork() == 0) execl("/bin/sleep", "sleep", i == 0 ? "1000" : "1001", nullptr);
      }
      mount("proc", root.path("proc").c_str(), "proc", 0, nullptr);
      static_cast<void>(write(ends[1], "x", 1));
      for (;;) pause();
    }
    char byte;
    ASSERT_EQ(read(ends[0], &byte, 1), 1);
    usleep(100000);
    std::string commands;
    for (const auto& [pid, row] : listed({"option=1", "env=" + root.path()})) {
      commands += std::to_string(pid) + " " + row.at("process_cmd_line") + "|";
    }
    EXPECT_EQ(commands, "2 sleep 1000|3 sleep 1001|");
    kill(first, SIGKILL);
    waitpid(first, nullptr, 0);
    umount2(root.path("proc").c_str(), MNT_DETACH);
    umount2(root.path("usr").c_str(), MNT_DETACH);
  }));
}

TEST(ProcessList, TwoThousandProcesses) {
  Children children;
  std::set<pid_t> pids;
  for (int i = 0; i < 2000; ++i) pids.insert(children.idle());
  // Not the program, which holds itself to a small share of the processor.
  LedgoraCollect::CollectProcessInfo collector;
  std::map<int, LedgoraCollect::PROC_EX_INFO_S> records;
  ASSERT_TRUE(collector.parseProcessesInfo(records));
  std::size_t found = 0;
  for (const pid_t pid : pids) found += records.count(pid);
  EXPECT_EQ(found, pids.size());
}

// Processes that die between ps and /proc leave neither a row without
// anything in it nor a failure.
TEST(ProcessList, ShortLivedProcesses) {
  Children children;
  children.start("/bin/sh", {"sh", "-c", "while :; do /bin/true & /bin/true & sleep 0.01; done"});
  for (int run = 0; run < 50; ++run) {
    LedgoraCollect::CollectProcessInfo collector;
    std::map<int, LedgoraCollect::PROC_EX_INFO_S> records;
    ASSERT_TRUE(collector.parseProcessesInfo(records));
    EXPECT_EQ(records.count(getpid()), 1u);
    for (const auto& [pid, record] : records) {
      EXPECT_EQ(record.pid, pid);
      EXPECT_FALSE(record.path.empty() && record.cmdLine.empty()) << pid;
      EXPECT_FALSE(record.status.empty() || record.userName.empty()) << pid;
    }
  }
}

}  // namespace
}  // namespace LedgoraTest
