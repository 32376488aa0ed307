#include "hostmodel/rootentry/RootMounts.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "common/support/Handles.h"
#include "hostmodel/rootentry/MountInfo.h"
#include "hostmodel/rootentry/RootTarget.h"

namespace LedgoraCollect {
namespace {

// Where the root may be mounted for the moment before it becomes "/".
constexpr const char* kScratch[] = {"/proc", "/dev", "/sys", "/usr", "/tmp", "/mnt"};
constexpr struct {
  const char* path;
  unsigned int major, minor;
} kDevices[] = {
    {"/dev/null", 1, 3},   {"/dev/zero", 1, 5},    {"/dev/full", 1, 7},
    {"/dev/random", 1, 8}, {"/dev/urandom", 1, 9},
};
constexpr std::size_t kDeviceCount = sizeof kDevices / sizeof *kDevices;

bool isSame(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The tool may itself run in a chroot, where "/" need not be a mount and nothing
// could become "/" later. Entering our own mount namespace once more leads to its
// true root; the working directory is kept.
bool makeMountsPrivate(int proc) {
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) return true;
  if (errno != EINVAL) return false;
  const FileDescriptor here(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  const FileDescriptor space(openat(proc, "self/ns/mnt", O_RDONLY | O_CLOEXEC));
  return here && space && setns(space.get(), CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 && fchdir(here.get()) == 0;
}

// A root has to be a mount to become "/". The working directory ends up in
// the new mount; that it is the same directory is looked at, not assumed.
bool mountWorkingDirectory() {
  struct stat wanted;
  struct stat found;
  if (stat(".", &wanted) != 0) return false;
  for (const char* scratch : kScratch) {
    if (mount(".", scratch, nullptr, MS_BIND | MS_REC, nullptr) != 0) continue;
    if (chdir(scratch) != 0 || stat(".", &found) != 0) return false;
    if (isSame(wanted, found)) return true;
    errno = ESTALE;
    return false;
  }
  return false;
}

bool becomeRoot() {
  return syscall(SYS_pivot_root, ".", ".") == 0 && umount2(".", MNT_DETACH) == 0 && chdir("/") == 0;
}

bool isDevice(int descriptor, unsigned int major, unsigned int minor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode) &&
         status.st_rdev == makedev(major, minor);
}

// Inside a user namespace no device can be made, only one of the root shown.
bool showDevice(int proc, int device, const char* path) {
  const FileDescriptor file(open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  const std::string source = "self/fd/" + std::to_string(device);
  const bool shown =
      file && fchdir(proc) == 0 && mount(source.c_str(), path, nullptr, MS_BIND, nullptr) == 0;
  return chdir("/") == 0 && shown;
}

bool makeDevices(int proc) {
  FileDescriptor own[kDeviceCount];
  for (std::size_t i = 0; i < kDeviceCount; ++i) {
    own[i].reset(open(kDevices[i].path, O_PATH | O_CLOEXEC));
    if (own[i] && !isDevice(own[i].get(), kDevices[i].major, kDevices[i].minor)) own[i].reset();
  }
  struct stat status;
  struct statfs files;
  if (lstat("/dev", &status) != 0) return false;
  if (!S_ISDIR(status.st_mode)) {
    errno = ENOTDIR;
    return false;
  }
  if (mount("tmpfs", "/dev", "tmpfs", MS_NOSUID | MS_NOEXEC, "mode=0755,size=64k") != 0 ||
      statfs("/dev", &files) != 0 || files.f_type != TMPFS_MAGIC) {
    return false;
  }
  for (std::size_t i = 0; i < kDeviceCount; ++i) {
    const auto& device = kDevices[i];
    if (mknod(device.path, S_IFCHR | 0666, makedev(device.major, device.minor)) == 0) continue;
    // What the root lacks, it goes without; the null device is looked for below.
    if (own[i] && !showDevice(proc, own[i].get(), device.path)) return false;
  }
  const FileDescriptor null(open(kDevices[0].path, O_RDWR | O_NOCTTY | O_CLOEXEC));
  return null && isDevice(null.get(), 1, 3);
}

// The mount that a path leads to, 0 if it can't be told.
int mountAt(int proc, const char* path) {
  const FileDescriptor at(open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!at) return 0;
  const std::string name = "self/fdinfo/" + std::to_string(at.get());
  // The name goes through "self", which is a link.
  const FileDescriptor file(openat(proc, name.c_str(), O_RDONLY | O_CLOEXEC));
  char text[1024] = {};
  if (!file || read(file.get(), text, sizeof text - 1) <= 0) return 0;
  const std::string info = text;
  const std::size_t key = info.find("mnt_id:");
  return key == std::string::npos ? 0 : std::atoi(info.c_str() + key + 7);
}

bool readMountInfo(int proc, std::vector<MountEntry>& entries) {
  const FileDescriptor file(openat(proc, "self/mountinfo", O_RDONLY | O_CLOEXEC));
  if (!file) return false;
  std::string text;
  char block[4096];
  ssize_t count = 0;
  while ((count = read(file.get(), block, sizeof block)) > 0) {
    text.append(block, static_cast<std::size_t>(count));
  }
  entries = parseMountInfo(text);
  return count == 0 && !entries.empty();
}

bool isOwnDevice(const std::string& point) {
  return point == "/dev" || point.compare(0, 5, "/dev/") == 0;
}

// Mounts that others hide can't be reached; whatever can be, is narrowed.
bool narrowMounts(int proc, RootMounts& result) {
  std::vector<MountEntry> entries;
  if (!readMountInfo(proc, entries)) return false;
  bool narrowed = false;
  for (const MountEntry& entry : entries) {
    if (mountAt(proc, entry.point.c_str()) != entry.id) continue;
    unsigned long flags = entry.flags | MS_RDONLY | MS_NOSUID;
    if (!isOwnDevice(entry.point)) flags |= MS_NODEV;
    if (mount("none", entry.point.c_str(), nullptr, MS_REMOUNT | MS_BIND | flags, nullptr) != 0) {
      return false;
    }
    if (entry.fileSystem == "proc") result.hasProc = true;
    narrowed = narrowed || entry.point == "/";
  }
  if (!narrowed) errno = EPERM;
  return narrowed;
}

// What was asked for is read back.
bool isNarrow(int proc) {
  std::vector<MountEntry> entries;
  if (!readMountInfo(proc, entries)) return false;
  for (const MountEntry& entry : entries) {
    if (mountAt(proc, entry.point.c_str()) != entry.id) continue;
    unsigned long wanted = MS_RDONLY | MS_NOSUID;
    if (!isOwnDevice(entry.point)) wanted |= MS_NODEV;
    if ((entry.flags & wanted) != wanted) {
      errno = EPERM;
      return false;
    }
  }
  return true;
}

}  // namespace

const char* confineMounts(int proc, RootMounts& mounts) {
  if (!makeMountsPrivate(proc)) return "private mounts";
  if (!mountWorkingDirectory()) return "mounting the root";
  if (!becomeRoot()) return "changing the root";
  const mode_t mask = umask(0);
  const bool devices = makeDevices(proc);
  umask(mask);
  if (!devices) return "making /dev";
  if (!narrowMounts(proc, mounts) || !isNarrow(proc)) return "making the root read-only";
  return nullptr;
}

}  // namespace LedgoraCollect
