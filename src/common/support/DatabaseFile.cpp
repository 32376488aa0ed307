#include "common/support/DatabaseFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "common/support/Handles.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

bool prepareDatabaseFile(const char* path) {
  struct stat found {};
  if (lstat(path, &found) == 0) {
    if (S_ISREG(found.st_mode)) return true;
    error_output(0, __func__, __LINE__, "%s is no regular file, not used as a database", path);
    return false;
  }
  if (errno != ENOENT) return true;
  FileDescriptor created(::open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                S_IRUSR | S_IWUSR | S_IRGRP));
  return true;
}

}  // namespace LedgoraCollect
