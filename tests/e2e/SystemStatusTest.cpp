#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fuse.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <cstring>
#include <map>
#include <sstream>
#include <thread>

#include "common/support/Handles.h"
#include "support/DocumentView.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

using namespace LedgoraTest;
using LedgoraCollect::FileDescriptor;

namespace {

const std::vector<const char*> kPartition{"partition_name", "mount_point", "file_system",
                                          "total_capacity", "used_capacity"};

std::string loginRecord(const char* user, int seconds) {
  utmp entry{};
  std::strncpy(entry.ut_user, user, sizeof(entry.ut_user) - 1);
  entry.ut_tv.tv_sec = seconds;
  return std::string(reinterpret_cast<const char*>(&entry), sizeof(entry));
}

/// Mount point -> mebibytes, as df sees them; points that are mounted twice left out.
std::map<std::string, std::string> sizesByDf() {
  const ProgramResult df = runProgram({"/bin/df", "-a", "-B1K", "--output=size,target"});
  std::map<std::string, std::string> sizes;
  std::istringstream lines(df.out);
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    unsigned long long kibibytes = 0;
    std::string target;
    if (!(words >> kibibytes) || !std::getline(words >> std::ws, target)) continue;
    const std::string size = std::to_string(kibibytes / 1024) + "MB";
    if (!sizes.emplace(target, size).second) sizes[target] = "twice";
  }
  return sizes;
}

/// A file system whose daemon doesn't answer: the test holds its connection.
class SilentMount {
 public:
  explicit SilentMount(const std::string& directory, const std::string& device = "silent")
      : mConnection(::open("/dev/fuse", O_RDWR | O_CLOEXEC)), mDirectory(directory) {
    const std::string options = "fd=" + std::to_string(mConnection.get()) +
                                ",rootmode=40000,user_id=0,group_id=0,allow_other";
    mMounted =
        mConnection && ::mount(device.c_str(), directory.c_str(), "fuse", 0, options.c_str()) == 0;
  }
  SilentMount(const SilentMount&) = delete;
  SilentMount& operator=(const SilentMount&) = delete;
  ~SilentMount() {
    mConnection.reset();  // whoever still waits gets an error
    if (mMounted) ::umount2(mDirectory.c_str(), MNT_DETACH);
  }

  bool mounted() const { return mMounted; }

  /// Reads one question; true if it was the greeting, which is answered.
  bool takeQuestion() {
    pollfd waiting{mConnection.get(), POLLIN, 0};
    if (::poll(&waiting, 1, 20000) != 1) return false;
    alignas(fuse_in_header) char question[FUSE_MIN_READ_BUFFER * 20];
    if (::read(mConnection.get(), question, sizeof(question)) <
        static_cast<ssize_t>(sizeof(fuse_in_header))) {
      return false;
    }
    fuse_in_header header;
    std::memcpy(&header, question, sizeof(header));
    if (header.opcode != FUSE_INIT) return false;
    struct {
      fuse_out_header header;
      fuse_init_out body;
    } answer{};
    answer.header = {sizeof(answer), 0, header.unique};
    answer.body.major = FUSE_KERNEL_VERSION;
    answer.body.minor = FUSE_KERNEL_MINOR_VERSION;
    answer.body.max_write = 4096;
    return ::write(mConnection.get(), &answer, sizeof(answer)) ==
           static_cast<ssize_t>(sizeof(answer));
  }

 private:
  FileDescriptor mConnection;
  std::string mDirectory;
  bool mMounted = false;
};

}  // namespace

TEST(SystemStatus, ThisMachineAgreesWithDfAndMeminfo) {
  if (access("/etc/mtab", R_OK) != 0) GTEST_SKIP() << "no /etc/mtab here, so no partitions";
  ProgramRun program;
  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_STATUS_MOUNT=4000\n");
  const ProgramResult result = program.type(2);
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  const std::map<std::string, std::string> sizes = sizesByDf();
  std::istringstream rows(
      documentRows(result.document, {"mount_point", "total_capacity"}, "partition_info"));
  int compared = 0;
  for (std::string row; std::getline(rows, row);) {
    const std::size_t bar = row.rfind('|');
    const auto size = sizes.find(row.substr(0, bar));
    if (size == sizes.end() || size->second == "twice") continue;
    EXPECT_EQ(row.substr(bar + 1), size->second) << row;
    ++compared;
  }
  EXPECT_GT(compared, 0) << result.document;

  std::istringstream meminfo(readWhole("/proc/meminfo"));
  std::string key;
  long kibibytes = 0;
  meminfo >> key >> kibibytes;
  EXPECT_EQ(documentMember(result.document, "mem_total"), std::to_string(kibibytes / 1024) + "MB");
  const double upTime = std::stod(readWhole("/proc/uptime"));
  EXPECT_NEAR(std::stod(documentMember(result.document, "up_time")), upTime, 60);
  EXPECT_EQ(documentMember(result.document, "active_state"), "");
}

TEST(SystemStatus, OfAMountedRoot) {
  TempRoot root;
  root.file("proc/cpuinfo", "model name : Test CPU\ncpu MHz : 2000.000\n")
      .file("proc/stat", "cpu  1 2 3 4 5 6 7\n")
      .file("proc/meminfo", "MemTotal: 4096000 kB\nMemFree: 1024000 kB\nCached: 1024000 kB\n")
      .file("proc/loadavg", "0.10 0.20 0.30 1/100 5\n")
      .file("proc/mounts",
            "/dev/sda1 / ext4 rw 0 0\n/dev/sda1 /data ext4 rw 0 0\nsrv:/x /n nfs4 rw 0 0\n"
            "/dev/sdb1 /gone ext4 rw 0 0\nbinfmt_misc /data binfmt_misc rw 0 0\n")
      .dir("data")
      .link("etc/mtab", "/proc/mounts")
      .file("sys/block/sda/size", "209715200\n")
      .file("var/log/wtmp", loginRecord("reboot", 1) + loginRecord("shutdown", 1700000000) +
                                loginRecord("shutdown", 1800000000).substr(0, 100));
  ProgramRun program;
  const ProgramResult result = program.type(2, {"env=" + root.path()});
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  const long processors = ::sysconf(_SC_NPROCESSORS_CONF);
  EXPECT_EQ(documentMember(result.document, "cpu_model"), "Test CPU");
  EXPECT_EQ(documentMember(result.document, "cpu_total"),
            std::to_string(2.0 * static_cast<double>(processors)) + "GHZ");
  EXPECT_EQ(documentMember(result.document, "cpu_used"), "0.000000GHZ");
  EXPECT_EQ(documentMember(result.document, "mem_used"), "2000MB");
  EXPECT_EQ(documentMember(result.document, "disk_total"), "100.00GB");
  EXPECT_EQ(documentMember(result.document, "load_average"), "0.10;0.20;0.30");
  EXPECT_EQ(documentMember(result.document, "shutdown_time"), "1700000000000");
  EXPECT_EQ(documentRows(result.document, {"partition_name", "mount_point", "file_system"},
                         "partition_info"),
            "/dev/sda1|/|ext4\n/dev/sda1|/data|ext4\n");
  EXPECT_EQ(result.count("already visited, do not count used size again"), 1);
  EXPECT_EQ(result.count("failed to get path /gone info!"), 1);
}

TEST(SystemStatus, ProcessorAsCommandsTellWhereProcDoesNot) {
  const struct {
    const char *what, *lscpu, *dmidecode, *filter, *model;
    double gigahertz;
  } cases[] = {
      {"both answer", "printf 'CPU(s):  2\\nModel name:   Test CPU\\nBIOS Model name: no\\n'",
       "printf '\\tMax Speed: 2500 MHz\\n\\tCurrent Speed: 1\\n'", "", "Test CPU", 2.5},
      {"failing", "exit 1", "exit 127", "", "", 0},
      {"forbidden", "echo 'Model name: x'", "echo 'Max Speed: 9 MHz'",
       R"({"cmd_disable":["lscpu","dmidecode"]})", "", 0},
      {"noise", "yes | head -c 10485760", "yes | head -c 10485760", "", "", 0},
      {"noise in the value", "echo 'Model name: A'; yes | head -c 10485760",
       "printf 'Max Speed: '; head -c 10485760 /dev/zero | tr '\\0' x", "", "A", 0},
  };
  const auto processors = static_cast<double>(::sysconf(_SC_NPROCESSORS_CONF));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, [&] {
      TempRoot fakes;
      fakes.file("cpuinfo", "processor : 0\n");
      ASSERT_EQ(::mount(fakes.path("cpuinfo").c_str(), "/proc/cpuinfo", nullptr, MS_BIND, nullptr),
                0);
      ASSERT_TRUE(replaceProgram(fakes, "lscpu", c.lscpu));
      ASSERT_TRUE(replaceProgram(fakes, "dmidecode", c.dmidecode));
      ProgramRun program;
      program.environment("PATH", fakes.path() + ":/usr/bin:/bin");
      if (*c.filter) program.tree().file("config/soft_app_filter.json", c.filter);
      const ProgramResult result = program.type(2);
      EXPECT_EQ(documentMember(result.document, "cpu_model"), c.model) << result.log;
      EXPECT_EQ(documentMember(result.document, "cpu_total"),
                std::to_string(c.gigahertz * processors) + "GHZ");
    }));
  }
}

TEST(SystemStatus, NothingIsReadOutsideOfTheRoot) {
  TempRoot outside;
  outside.file("mtab", "/dev/secret / ext4 rw 0 0\n").file("loadavg", "7 7 7 7 7\n");
  TempRoot root;
  root.link("etc/mtab", outside.path("mtab"))
      .link("proc/loadavg", "../../../../../../../.." + outside.path("loadavg"))
      .file("proc/cpuinfo", "model name : A\ncpu MHz : 1000\n");
  ProgramRun program;
  const ProgramResult result = program.type(2, {"env=" + root.path()});
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  EXPECT_EQ(documentMember(result.document, "load_average"), "");
  EXPECT_EQ(documentMember(result.document, "partition_info"), "[]");
  EXPECT_EQ(documentMember(result.document, "disk_total"), "");
  EXPECT_EQ(documentMember(result.document, "shutdown_time"), "");
  EXPECT_EQ(result.document.find("secret"), std::string::npos);
}

// A mount that nobody serves holds up its asker for good: without the helper
// these runs would never end. Orphans of the run would become our children.
TEST(SystemStatus, MountsThatDontAnswerCostOnlyTheirRecords) {
  if (access("/etc/mtab", R_OK) != 0) GTEST_SKIP() << "no /etc/mtab here, so no partitions";
  TempRoot mounts;
  ProgramRun program;
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS | CLONE_NEWPID, [&] {
    const ProgramResult before = program.type(2);
    mounts.dir("one").dir("two").dir("behind");
    SilentMount one(mounts.path("one"));
    SilentMount two(mounts.path("two"));
    ASSERT_TRUE(one.mounted() && two.mounted()) << std::strerror(errno);
    ASSERT_EQ(::mount("behind", mounts.path("behind").c_str(), "tmpfs", 0, "size=8m"), 0);
    const ProgramResult result = program.type(2);
    ASSERT_EQ(result.exitStatus, 0) << result.log;
    EXPECT_EQ(documentCount(result.document, "partition_info"),
              documentCount(before.document, "partition_info") + 1);
    EXPECT_NE(documentRows(result.document, kPartition, "partition_info")
                  .find("behind|" + mounts.path("behind") + "|tmpfs|8MB|0MB\n"),
              std::string::npos);
    EXPECT_EQ(result.count("failed to get path " + mounts.path("one") + " info!"), 1);
    EXPECT_EQ(result.count("failed to get path " + mounts.path("two") + " info!"), 1);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a helper was left behind";
    ::umount2(mounts.path("behind").c_str(), MNT_DETACH);
  }));
}

// Here the daemon took the question and is stopped: such a wait can't be ended
// by a signal, so the helper is left and must hold nothing of the run's.
TEST(SystemStatus, HelperThatHangsInTheKernelIsLeft) {
  if (access("/etc/mtab", R_OK) != 0) GTEST_SKIP() << "no /etc/mtab here, so no partitions";
  TempRoot mounts;
  ProgramRun program;
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS | CLONE_NEWPID, [&] {
    mounts.dir("one");
    SilentMount one(mounts.path("one"));
    ASSERT_TRUE(one.mounted()) << std::strerror(errno);
    std::thread daemon([&one] {
      while (one.takeQuestion()) {
      }
    });
    const ProgramResult result = program.type(2);  // ends though the helper lives
    daemon.join();
    ASSERT_EQ(result.exitStatus, 0) << result.log;
    EXPECT_EQ(result.count("failed to get path " + mounts.path("one") + " info!"), 1);
    EXPECT_EQ(result.count("hangs in the kernel and is left behind"), 1);
  }));
}
