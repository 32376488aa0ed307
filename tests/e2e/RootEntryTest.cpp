// Commands in a root, run by the installation's chroot, with programs in the
// root that try to get out.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <sstream>

#include "common/support/Handles.h"
#include "hostmodel/RootCommandPath.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

namespace LedgoraTest {
namespace {

using LedgoraCollect::FileDescriptor;

const std::string kChroot = std::string(LEDGORA_TEST_TREE) + "/libexec/chroot";

/// Runs the chroot as a line of ours does.
ProgramResult inRoot(const std::string& root, const std::vector<std::string>& command,
                     int asProcess = 0, const std::function<void()>& inChild = {}) {
  std::vector<std::string> arguments = {kChroot, root};
  arguments.insert(arguments.end(), command.begin(), command.end());
  const std::string path = LedgoraCollect::makeRootCommandPath("/libexec", "/usr/bin:/bin",
                                                               {"/usr/bin:/bin", asProcess});
  return runProgram(arguments, {{"PATH", path}, {"LANG", "C"}, {"SECRET_OF_THE_TOOL", "1"}},
                    inChild);
}

/// What of this machine an intruder is after.
class Host {
 public:
  Host() : mName("ledgora-test-" + std::to_string(getpid())) {
    mFiles.file("secret", "hush\n");
    mVictim = fork();
    if (mVictim == 0) {
      setsid();
      for (;;) pause();
    }
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, mName.data(), mName.size());
    mListener.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + mName.size());
    EXPECT_EQ(bind(mListener.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(listen(mListener.get(), 5), 0);
  }
  ~Host() {
    // Still there, and ended by nobody else.
    EXPECT_EQ(waitpid(mVictim, nullptr, WNOHANG), 0);
    kill(mVictim, SIGKILL);
    waitpid(mVictim, nullptr, 0);
    EXPECT_EQ(mFiles.read("secret"), "hush\n");
  }

  std::vector<std::string> words() const {
    return {mFiles.path("secret"), std::to_string(mVictim), mName};
  }

  /// Fills a root with programs that are all the intruder, and with bait.
  void fill(TempRoot& root) {
    for (const char* name : {"ps", "sh", "bash", "rpm", "dash", "chroot", "tail", "grep", "lsmod",
                             "modinfo", "dmidecode", "lsblk", "lscpu"}) {
      root.copy(std::string("usr/bin/") + name, LEDGORA_INTRUDER);
    }
    root.link("bin", "usr/bin").dir("dev").dir("proc").dir("etc").file("canary", "alive", 0644);
    root.link("leak", mFiles.path("secret"));
    std::string conf;
    for (const std::string& word : words()) conf += word + " ";
    root.file("intruder.conf", conf);
    EXPECT_EQ(mknod(root.path("device").c_str(), S_IFCHR | 0666, makedev(1, 5)), 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, root.path("socket").c_str(), sizeof address.sun_path - 1);
    mRootListener.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(bind(mRootListener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(mRootListener.get(), 5), 0);
  }

 private:
  TempRoot mFiles;
  std::string mName;
  pid_t mVictim = -1;
  FileDescriptor mListener;
  FileDescriptor mRootListener;
};

std::vector<std::string> intruder(const Host& host) {
  std::vector<std::string> command = {"ps"};
  for (const std::string& word : host.words()) command.push_back(word);
  return command;
}

/// As the intruder leaves a directory and a file open for its command.
void leaveDescriptorsOpen() {
  dup2(open("/", O_RDONLY | O_DIRECTORY), 0);
  dup2(open("/etc/passwd", O_RDONLY), 57);
}

constexpr int kAllNamespaces =
    CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWIPC;

// The attempts are real ones: with the rights of root behind a plain chroot
// they work. Without this the tests below would prove nothing.
TEST(RootEntry, ThePlainWayIntoARootHoldsNothingBack) {
  if (isChrooted()) GTEST_SKIP() << "a second chroot leads nowhere from within a first one";
  EXPECT_TRUE(passesInNamespaces(kAllNamespaces, [] {
    Host host;
    TempRoot root;
    host.fill(root);
    ASSERT_EQ(mount("proc", root.path("proc").c_str(), "proc", 0, nullptr), 0);
    std::vector<std::string> command = intruder(host);
    command[0] = "/usr/bin/ps";
    command.push_back("don't stay");
    const ProgramResult result = runProgram(command, {}, [&] {
      leaveDescriptorsOpen();
      if (chroot(root.path().c_str()) != 0 || chdir("/") != 0) _exit(1);
    });
    for (const char* attempt :
         {"inherited descriptor", "roots of processes", "ptrace", "mount", "namespaces",
          "file by handle", "signals", "abstract socket", "socket in the root", "writing",
          "devices", "privileges", "second chroot"}) {
      EXPECT_NE(result.out.find(std::string(attempt) + " worked"), std::string::npos) << attempt;
    }
  }));
}

TEST(RootEntry, NothingLeadsOutOfAMountedRoot) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, [] {
    Host host;
    TempRoot root;
    host.fill(root);
    const ProgramResult result = inRoot(root.path(), intruder(host), 0, leaveDescriptorsOpen);
    EXPECT_EQ(result.out, "tried\n") << result.err;
    EXPECT_FALSE(root.exists("owned"));
    EXPECT_EQ(root.read("canary"), "alive");
  }));
}

// The proc file system of this machine in the root shows every process.
TEST(RootEntry, NothingLeadsOutThroughProc) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, [] {
    Host host;
    TempRoot root;
    host.fill(root);
    ASSERT_EQ(mount("/proc", root.path("proc").c_str(), nullptr, MS_BIND | MS_REC, nullptr), 0);
    EXPECT_EQ(inRoot(root.path(), intruder(host)).out, "tried\n");
    umount2(root.path("proc").c_str(), MNT_DETACH);
  }));
}

TEST(RootEntry, NothingLeadsOutOfAContainer) {
  for (const int namespaces : {0, CLONE_NEWPID | CLONE_NEWNET}) {
    SCOPED_TRACE(namespaces);
    Host host;
    TempRoot root;
    host.fill(root);
    root.copy("intruder", LEDGORA_INTRUDER);
    ContainerOptions options;
    options.root = root.path();
    options.namespaces = namespaces;
    options.command = {"/usr/bin/sleep", "1000"};
    root.remove("usr");
    root.remove("bin");
    const TestContainer container(options);
    std::vector<std::string> command = intruder(host);
    command[0] = "/intruder";
    const std::string name = "/proc/" + std::to_string(container.pid()) + "/root";
    const ProgramResult result = inRoot(name, command);
    EXPECT_EQ(result.out, "tried\n") << result.err;
    EXPECT_EQ(kill(container.pid(), 0), 0);
  }
}

TEST(RootEntry, ADirectoryOfAProcessThatIsOnlyChrootedIsConfined) {
  Host host;
  TempRoot root;
  host.fill(root);
  const pid_t chrooted = fork();
  if (chrooted == 0) {
    if (chroot(root.path().c_str()) == 0 && chdir("/") == 0) pause();
    _exit(1);
  }
  usleep(100000);
  const ProgramResult result =
      inRoot("/proc/" + std::to_string(chrooted) + "/root", intruder(host));
  EXPECT_EQ(result.out, "tried\n") << result.err;
  EXPECT_EQ(kill(chrooted, SIGKILL), 0);
  waitpid(chrooted, nullptr, 0);
}

// "ps", "sh" and "rpm" of the root, as the whole program calls them.
TEST(RootEntry, AWholeRunInAHostileRootTellsNothingOfThisMachine) {
  Host host;
  TempRoot root;
  host.fill(root);
  ProgramRun program;
  root.file("sys/block/sda/size", "8\n");  // a disk that lsblk is asked about
  for (const int type : {1, 2, 3, 4, 6, 19, 20, 21, 23}) {
    SCOPED_TRACE(type);
    const ProgramResult result = program.type(type, {"option=1", "env=" + root.path()});
    EXPECT_EQ(result.document.find("hush"), std::string::npos);
    EXPECT_EQ(result.document.find("worked"), std::string::npos) << result.document;
    EXPECT_EQ(result.log.find("hush"), std::string::npos);
  }
  EXPECT_FALSE(root.exists("owned"));
}

// The root of a container has his program asked for its version. It may write
// in its root and talk to sockets, as its process can; it reaches nothing beyond.
TEST(RootEntry, AContainersServerThatIsAskedForItsVersionGainsNothing) {
  Host host;
  TempRoot root;
  host.fill(root);
  root.copy("opt/server", LEDGORA_INTRUDER);
  ASSERT_EQ(mknod(root.path("dev/null").c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
  ContainerOptions options;
  options.root = root.path();
  options.hostPrograms = false;
  options.command = {"/opt/server", "serve"};
  const TestContainer container(options);
  ProgramRun program;
  program.tree().file("config/rule/soft/soft_app_linux.json", R"rule([{"name": "intruder",
    "character": {"pattern_process": [{"process_name": "^server$"}]},
    "versions": {"version_cmd": [{"cmd_param": "--version", "out_regex": "^((?:.|\\n)*tried)"}]}}])rule");
  const ProgramResult result = program.type(7, {"option=24"});
  EXPECT_NE(result.document.find("tried\""), std::string::npos) << result.messages();
  for (const char* attempt : {"secret by name", "parents", "roots of processes", "ptrace", "mount",
                              "namespaces", "file by handle", "signals", "second chroot"}) {
    EXPECT_EQ(result.document.find(std::string(attempt) + " worked"), std::string::npos) << attempt;
  }
  EXPECT_EQ(result.log.find("hush"), std::string::npos);
  EXPECT_EQ(kill(container.pid(), 0), 0);
}

TempRoot& withPrograms(TempRoot& root) {
  root.dir("dev").dir("proc").dir("etc").dir("usr").dir("tmp");
  for (const char* link : {"bin", "sbin", "lib", "lib64"}) {
    root.link(link, std::string("usr/") + link);
  }
  EXPECT_EQ(mount("/usr", root.path("usr").c_str(), nullptr, MS_BIND, nullptr), 0);
  return root;
}

TEST(RootEntry, WhatACommandSees) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, [] {
    TempRoot root;
    withPrograms(root);
    const struct {
      const char* what;
      std::vector<std::string> command;
      std::string out;
      int status;
    } cases[] = {
        {"its own root",
         {"sh", "-c", "pwd; ls / | tr '\\n' ' '"},
         "/\nbin dev etc lib lib64 proc sbin tmp usr ",
         0},
        {"a null device",
         {"sh", "-c", "echo x > /dev/null && ls /dev | tr '\\n' ' '"},
         "full null random urandom zero ",
         0},
        {"only its own variables", {"env"}, "PATH=/usr/bin:/bin\nLANG=C\n", 0},
        {"no name but inside", {"sh", "-c", "echo > /etc/made || echo refused"}, "refused\n", 0},
        {"the exit status", {"sh", "-c", "exit 7"}, "", 7},
        {"a missing program", {"no-such-program"}, "", 127},
        {"root's number", {"id", "-u"}, "0\n", 0},
    };
    for (const auto& c : cases) {
      SCOPED_TRACE(c.what);
      const ProgramResult result = inRoot(root.path(), c.command);
      EXPECT_EQ(result.out, c.out) << result.err;
      EXPECT_EQ(result.exitStatus, c.status);
    }
    EXPECT_FALSE(root.exists("dev/null"));
    umount2(root.path("usr").c_str(), MNT_DETACH);
  }));
}

TEST(RootEntry, WhatCantBeAssuredIsntRun) {
  TempRoot root;
  root.file("dev", "no directory");
  TempRoot elsewhere;
  root.link("other/dev", elsewhere.path());
  for (const std::string& name :
       {root.path(), root.path("other"), root.path("missing"), root.path("dev"),
        std::string("/proc/999999999/root"), root.path("proc/1/root")}) {
    SCOPED_TRACE(name);
    const ProgramResult result = inRoot(name, {"/bin/true"});
    EXPECT_EQ(result.exitStatus, 125);
    EXPECT_NE(result.err, "");
  }
}

// The processes of a container have users of their own; a command with the
// rights of one has no more than those.
TEST(RootEntry, ACommandWithTheRightsOfAContainersProcess) {
  TempRoot root;
  ContainerOptions options;
  options.root = root.path();
  options.namespaces = CLONE_NEWPID;
  options.command = {"/usr/bin/sleep", "1000"};
  options.uid = 12345;
  options.gid = 23456;
  const TestContainer container(options);
  const std::string name = "/proc/" + std::to_string(container.pid()) + "/root";
  const ProgramResult result =
      inRoot(name, {"sh", "-c", "id -u; id -g; grep -E '^(CapEff|NoNewPrivs)' /proc/self/status"},
             container.pid());
  EXPECT_EQ(result.out, "12345\n23456\nCapEff:\t0000000000000000\nNoNewPrivs:\t1\n") << result.err;
}

// As runtimes without root's rights make them: pid namespace and mounts belong
// to users that are others on the machine.
TEST(RootEntry, AContainerWithUsersOfItsOwn) {
  TempRoot root;
  ContainerOptions options;
  options.root = root.path();
  options.command = {
      "/usr/bin/unshare", "--user",       "--map-root-user", "--mount",        "--pid",
      "--fork",           "--kill-child", "--mount-proc",    "/usr/bin/sleep", "1000"};
  const TestContainer container(options);
  const std::string outer = std::to_string(container.pid());
  std::string inner;
  for (int tries = 0; tries < 500 && inner.empty(); ++tries) {
    usleep(10000);
    std::istringstream children(readWhole("/proc/" + outer + "/task/" + outer + "/children"));
    children >> inner;
    if (readWhole("/proc/" + inner + "/comm") != "sleep\n") inner.clear();
  }
  ASSERT_NE(inner, "");
  for (const int asProcess : {0, std::stoi(inner)}) {
    const ProgramResult result =
        inRoot("/proc/" + inner + "/root", {"sh", "-c", "id -u; id -G; echo $$"}, asProcess);
    EXPECT_EQ(result.out, "0\n0\n1\n") << asProcess << " " << result.err;
  }
}

// A command that is stopped leaves nothing behind, whatever it did to stay.
TEST(RootEntry, WhatACommandStartedEndsWithIt) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, [] {
    TempRoot root;
    withPrograms(root);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t command = fork();
    if (command == 0) {
      dup2(ends[1], 1);
      const std::string line = "(setsid sh -c 'echo up; sleep 1000' &) ; sleep 1000";
      execl(kChroot.c_str(), "chroot", root.path().c_str(), "/bin/sh", "-c", line.c_str(), nullptr);
      _exit(1);
    }
    close(ends[1]);
    char text[8];
    ASSERT_EQ(read(ends[0], text, sizeof text), 3);
    kill(command, SIGKILL);
    waitpid(command, nullptr, 0);
    // The end of the pipe comes when the last process that holds it is gone.
    EXPECT_EQ(read(ends[0], text, sizeof text), 0);
    close(ends[0]);
    umount2(root.path("usr").c_str(), MNT_DETACH);
  }));
}

}  // namespace
}  // namespace LedgoraTest
