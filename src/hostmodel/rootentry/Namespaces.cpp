#include "hostmodel/rootentry/Namespaces.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <cerrno>
#include <string>

#ifndef CLONE_NEWCGROUP
#define CLONE_NEWCGROUP 0x02000000
#endif

namespace LedgoraCollect {
namespace {

// In the order of Namespaces::Kind.
constexpr struct {
  const char* name;
  int flag;
} kKindTable[Namespaces::kKinds] = {
    {"ns/ipc", CLONE_NEWIPC},       {"ns/uts", CLONE_NEWUTS}, {"ns/net", CLONE_NEWNET},
    {"ns/cgroup", CLONE_NEWCGROUP}, {"ns/mnt", CLONE_NEWNS},  {"ns/pid", CLONE_NEWPID},
    {"ns/user", CLONE_NEWUSER},
};

bool statOwn(const char* name, struct stat& status) {
  return stat((std::string("/proc/self/") + name).c_str(), &status) == 0;
}

bool isNamespace(int descriptor) {
  struct statfs status;
  return fstatfs(descriptor, &status) == 0 && status.f_type == NSFS_MAGIC;
}

}  // namespace

bool Namespaces::open(int process) {
  for (int kind = 0; kind < kKinds; ++kind) {
    struct stat own;
    struct stat its;
    mShared[kind] = true;
    if (!statOwn(kKindTable[kind].name, own)) {
      if (errno == ENOENT) continue;
      return false;
    }
    mHandles[kind].reset(openat(process, kKindTable[kind].name, O_RDONLY | O_CLOEXEC));
    if (!mHandles[kind] || !isNamespace(mHandles[kind].get()) ||
        fstat(mHandles[kind].get(), &its) != 0) {
      return false;
    }
    mShared[kind] = own.st_dev == its.st_dev && own.st_ino == its.st_ino;
  }
  return true;
}

int Namespaces::enter(Kind kind) const {
  return setns(mHandles[kind].get(), kKindTable[kind].flag) == 0 ? 0 : errno;
}

void enterPidNamespaceOf(int proc) {
  struct stat own;
  struct stat its;
  const FileDescriptor space(openat(proc, "1/ns/pid", O_RDONLY | O_CLOEXEC));
  if (!space || !isNamespace(space.get()) || fstat(space.get(), &its) != 0) return;
  if (!statOwn("ns/pid", own) || (own.st_dev == its.st_dev && own.st_ino == its.st_ino)) return;
  // Only descendants can be entered. In all others whose proc is mounted
  // somewhere here this process is seen anyway, or isn't meant to be.
  static_cast<void>(setns(space.get(), CLONE_NEWPID));
}

}  // namespace LedgoraCollect
