#include "common/support/LogFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <string>

namespace LedgoraCollect {
namespace {

constexpr char kLogName[] = "collect.log";
constexpr mode_t kLogMode = 0640;
// Another run holds the lock for a few renames only; whoever holds it longer
// must not hold up this run.
constexpr int kLockTries = 20;
constexpr long kLockPauseNanoseconds = 10'000'000;

std::string oldName(int number) { return kLogName + ("." + std::to_string(number)); }

/// A descriptor above the standard three, so that a log opened by a program
/// started without them never becomes one of them.
FileDescriptor aboveStandard(FileDescriptor file) {
  if (!file || file.get() > 2) return file;
  return FileDescriptor(::fcntl(file.get(), F_DUPFD_CLOEXEC, 3));
}

FileDescriptor openLog(int directory) {
  const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  FileDescriptor file =
      aboveStandard(FileDescriptor(::openat(directory, kLogName, flags, kLogMode)));
  struct stat info {};
  if (!file || ::fstat(file.get(), &info) != 0) return FileDescriptor();
  if (!S_ISREG(info.st_mode)) {
    errno = EINVAL;
    return FileDescriptor();
  }
  return file;
}

bool isOver(int file, long long limit) {
  struct stat info {};
  return ::fstat(file, &info) == 0 && info.st_size > limit;
}

/// True if `file` is still what the name leads to: not moved by another run.
bool isCurrent(int directory, int file) {
  struct stat opened {};
  struct stat named {};
  return ::fstat(file, &opened) == 0 &&
         ::fstatat(directory, kLogName, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

void moveUp(int directory, int oldFiles) {
  if (oldFiles <= 0) {
    ::unlinkat(directory, kLogName, 0);
    return;
  }
  for (int number = oldFiles; number > 1; --number) {
    ::renameat(directory, oldName(number - 1).c_str(), directory, oldName(number).c_str());
  }
  ::renameat(directory, kLogName, directory, oldName(1).c_str());
}

/// One try to rotate under the lock of the file itself. False if another run
/// holds the lock.
bool rotate(int directory, int file, int oldFiles) {
  if (::flock(file, LOCK_EX | LOCK_NB) != 0) return false;
  if (isCurrent(directory, file)) moveUp(directory, oldFiles);
  ::flock(file, LOCK_UN);
  return true;
}

void pauseForLock() {
  const timespec pause{0, kLockPauseNanoseconds};
  ::nanosleep(&pause, nullptr);
}

}  // namespace

bool LogFile::open(const char* directory, int oldFiles, long long rotateBytes) {
  const FileDescriptor parent(::open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!parent) return false;
  mFile = openLog(parent.get());
  for (int tries = 0; mFile && isOver(mFile.get(), rotateBytes) && tries < kLockTries; ++tries) {
    if (!rotate(parent.get(), mFile.get(), oldFiles)) pauseForLock();
    mFile = openLog(parent.get());
  }
  return isOpen();
}

void LogFile::write(std::string_view record) const {
  // A record that a full disk cuts short stays cut: writing the rest later
  // could land within another run's record.
  ssize_t written = -1;
  do {
    written = ::write(mFile.get(), record.data(), record.size());
  } while (written < 0 && errno == EINTR);
}

}  // namespace LedgoraCollect
