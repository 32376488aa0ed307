#include "support/Namespaces.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <system_error>

#include "common/support/Handles.h"

using LedgoraCollect::FileDescriptor;

namespace LedgoraTest {

namespace {

[[noreturn]] void giveUp(const std::string& what) {
  std::fprintf(stderr, "%s: %s\n", what.c_str(), std::strerror(errno));
  _exit(111);
}

void must(bool done, const std::string& what) {
  if (!done) giveUp(what);
}

void raiseLoopback() {
  const FileDescriptor control(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  must(ioctl(control.get(), SIOCGIFFLAGS, &request) == 0, "loopback");
  request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
  must(ioctl(control.get(), SIOCSIFFLAGS, &request) == 0, "loopback up");
}

/// Keeps the mounts of this process's new mount namespace from getting out.
bool makeMountsPrivate() {
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) return true;
  if (errno != EINVAL) return false;
  // In a chroot "/" may be no mount point. Entering our own namespace once
  // more leads to its true root; from there we come back.
  const FileDescriptor root(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  const FileDescriptor space(open("/proc/self/ns/mnt", O_RDONLY | O_CLOEXEC));
  return root && space && setns(space.get(), CLONE_NEWNS) == 0 &&
         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         fchdir(root.get()) == 0 && chroot(".") == 0;
}

void privateMounts() { must(makeMountsPrivate(), "private mounts"); }

int waitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

[[noreturn]] void runBody(const std::function<void()>& body) {
  body();
  std::fflush(nullptr);
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

[[noreturn]] void enterAndRun(int flags, const std::function<void()>& body) {
  must(unshare(flags) == 0, "unshare");
  if (flags & CLONE_NEWNS) privateMounts();
  if (flags & CLONE_NEWNET) raiseLoopback();
  if (!(flags & CLONE_NEWPID)) runBody(body);
  const pid_t first = fork();
  must(first >= 0, "fork");
  if (first != 0) _exit(waitFor(first));
  if (flags & CLONE_NEWNS) must(mount("proc", "/proc", "proc", 0, nullptr) == 0, "proc");
  runBody(body);
}

/// The hierarchy "name=systemd", in which container runtimes name their
/// groups. A machine without it gets it mounted for the tests' time.
std::string systemdHierarchy() {
  std::ifstream mounts("/proc/self/mounts");
  for (std::string line; std::getline(mounts, line);) {
    if (line.find("name=systemd") == std::string::npos) continue;
    std::istringstream fields(line);
    std::string device, directory;
    fields >> device >> directory;
    return directory;
  }
  static const struct Mounted {
    Mounted() {
      if (mount("cgroup", root.path().c_str(), "cgroup", 0, "none,name=systemd") != 0) {
        throw std::system_error(errno, std::generic_category(), "mounting name=systemd");
      }
    }
    ~Mounted() { umount2(root.path().c_str(), MNT_DETACH); }
    TempRoot root;
  } mounted;
  return mounted.root.path();
}

/// Missing parents are made too; they are left, as runtimes leave them.
void makeGroup(const std::string& group) {
  const std::string parent = group.substr(0, group.rfind('/'));
  mkdir(parent.c_str(), 0755);
  if (mkdir(group.c_str(), 0755) != 0 && errno != EEXIST) {
    throw std::system_error(errno, std::generic_category(), group);
  }
}

void bindReadOnly(const std::string& source, const std::string& target) {
  struct stat status {};
  if (lstat(source.c_str(), &status) != 0) return;
  if (S_ISLNK(status.st_mode)) {
    char text[256] = {};
    must(readlink(source.c_str(), text, sizeof text - 1) > 0, source);
    must(symlink(text, target.c_str()) == 0 || errno == EEXIST, target);
    return;
  }
  must(mkdir(target.c_str(), 0755) == 0 || errno == EEXIST, target);
  must(mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0, target);
  must(mount(nullptr, target.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0,
       target);
}

void makeDevice(const std::string& path, unsigned int minor) {
  must(mknod(path.c_str(), S_IFCHR | 0666, (1U << 8) | minor) == 0 || errno == EEXIST, path);
  must(chmod(path.c_str(), 0666) == 0, path);
}

void giveHostPrograms(const std::string& root) {
  for (const char* name : {"usr", "bin", "sbin", "lib", "lib32", "lib64"}) {
    bindReadOnly(std::string("/") + name, root + "/" + name);
  }
  mkdir((root + "/dev").c_str(), 0755);
  must(mount("tmpfs", (root + "/dev").c_str(), "tmpfs", 0, "mode=0755") == 0, "dev");
  makeDevice(root + "/dev/null", 3);
  makeDevice(root + "/dev/zero", 5);
  mkdir((root + "/proc").c_str(), 0755);
  must(mount("proc", (root + "/proc").c_str(), "proc", 0, nullptr) == 0, "proc");
}

/// As runtimes do: in a root that was merely changed, the links below /proc of
/// the process would tell this machine's paths.
void enterRoot(const std::string& root) {
  must(chdir(root.c_str()) == 0, root);
  must(syscall(SYS_pivot_root, ".", ".") == 0, "pivot_root");
  must(umount2(".", MNT_DETACH) == 0 && chdir("/") == 0, "old root");
}

[[noreturn]] void becomeContainer(const ContainerOptions& options, const std::string& group) {
  std::ofstream(group + "/cgroup.procs") << "0" << std::endl;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  privateMounts();
  if (options.namespaces & CLONE_NEWNET) raiseLoopback();
  must(mount(options.root.c_str(), options.root.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
       "root");
  if (options.hostPrograms) giveHostPrograms(options.root);
  enterRoot(options.root);
  must(setgid(options.gid) == 0 && setuid(options.uid) == 0, "credentials");
  std::vector<char*> words;
  for (const std::string& word : options.command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  execvp(words[0], words.data());
  giveUp(options.command[0]);
}

}  // namespace

bool passesInNamespaces(int flags, const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) enterAndRun(flags, body);
  return waitFor(child) == 0;
}

std::string newContainerId() {
  std::random_device random;  // process numbers repeat in pid namespaces
  char text[65];
  std::snprintf(text, sizeof text, "%048d%08x%08x", 0, random(), random());
  return text;
}

bool isChrooted() {
  std::ifstream mounts("/proc/self/mountinfo");
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string id, parent, device, root, point;
    fields >> id >> parent >> device >> root >> point;
    if (point == "/") return false;
  }
  return true;
}

bool enterMountNamespace() { return unshare(CLONE_NEWNS) == 0 && makeMountsPrivate(); }

bool replaceProgram(TempRoot& fakes, const std::string& name, const std::string& script) {
  fakes.file(name, "#!/bin/sh\n" + script, 0755);
  for (const char* directory : {"/usr/bin/", "/usr/sbin/", "/usr/local/sbin/", "/usr/local/bin/"}) {
    const std::string path = directory + name;
    if (::access(path.c_str(), F_OK) != 0) continue;
    if (::mount(fakes.path(name).c_str(), path.c_str(), nullptr, MS_BIND, nullptr) != 0) {
      return false;
    }
  }
  return true;
}

void enterNetworkNamespace() {
  must(unshare(CLONE_NEWNET) == 0, "unshare");
  raiseLoopback();
}

TestContainer::TestContainer(const ContainerOptions& options) {
  const std::string name =
      options.scope ? "/system.slice/docker-" + options.id + ".scope" : "/docker/" + options.id;
  mGroup = systemdHierarchy() + name;
  makeGroup(mGroup);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category());
  FileDescriptor reader(ends[0]), writer(ends[1]);
  // As fork, but straight into the namespaces: the process is the container's
  // first one, and its number is known here.
  const long flags = CLONE_NEWNS | options.namespaces | SIGCHLD;
  mPid = static_cast<pid_t>(syscall(SYS_clone, flags, nullptr, nullptr, nullptr, nullptr));
  if (mPid < 0) throw std::system_error(errno, std::generic_category(), "clone");
  if (mPid == 0) becomeContainer(options, mGroup);
  writer.reset();
  // The pipe closes when the command has been started, or was given up.
  char nothing;
  while (read(reader.get(), &nothing, 1) < 0 && errno == EINTR) {
  }
  if (waitpid(mPid, nullptr, WNOHANG) == mPid) {
    mPid = -1;
    stop();
    throw std::runtime_error("the container's command could not be started");
  }
}

TestContainer::~TestContainer() { stop(); }

void TestContainer::stop() {
  if (mPid > 0) {
    // Everything in the group, so that nothing survives the test.
    std::ifstream members(mGroup + "/cgroup.procs");
    for (pid_t member; members >> member;) {
      if (member > 0) kill(member, SIGKILL);
    }
    kill(mPid, SIGKILL);
    waitFor(mPid);
  }
  for (int tries = 0; tries < 100 && rmdir(mGroup.c_str()) != 0 && errno == EBUSY; ++tries) {
    usleep(10000);
  }
}

}  // namespace LedgoraTest
