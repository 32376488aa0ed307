#include "common/support/InstallPath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string_view>

#include "common/support/BoundedString.h"
#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

/// The kernel's mark " (deleted)" of a program file that was replaced while
/// it runs stands behind the file's name, so it goes with the name.
std::string readProgramDirectory() {
  char target[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", target, sizeof target);
  if (length <= 0 || static_cast<std::size_t>(length) >= sizeof target) return "";
  std::string_view path(target, static_cast<std::size_t>(length));
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return "";
  return std::string(path.substr(0, slash));
}

const std::string& programDirectory() {
  static const std::string directory = readProgramDirectory();
  return directory;
}

bool isDirectory(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return false;
  if (S_ISDIR(info.st_mode)) return true;
  errno = ENOTDIR;
  return false;
}

/// Makes one directory; true if it is there afterwards, whoever made it.
bool makeOne(const std::string& path, mode_t mode) {
  if (::mkdir(path.c_str(), mode) == 0) return true;
  const int reason = errno;
  if (isDirectory(path)) return true;
  if (reason != EEXIST) errno = reason;
  return false;
}

}  // namespace

std::string installPath(const char* in) {
  const std::string_view path(in);
  if (path.substr(0, 2) != "@/") return in;
  if (programDirectory().empty()) {
    error_output(0, __func__, __LINE__, "directory of the program is unknown, path %s", in);
    return "";
  }
  return programDirectory() + (in + 1);
}

void dirutils_path_transform(const char* in, char* out, std::size_t size) {
  const std::string path = installPath(in);
  if (path.size() >= size) {
    error_output(0, __func__, __LINE__, "path %s doesn't fit %zu bytes", path.c_str(), size);
    if (size > 0) out[0] = '\0';
    return;
  }
  str_strlcpy(out, path.c_str(), size);
}

int dirutils_mkdir(const char* path, int mode) {
  const std::string whole(path);
  if (whole.empty()) {
    errno = ENOENT;
    return -1;
  }
  if (isDirectory(whole)) return 0;
  for (std::size_t end = whole.find('/', 1); end != std::string::npos;
       end = whole.find('/', end + 1)) {
    if (!makeOne(whole.substr(0, end), static_cast<mode_t>(mode))) return -1;
  }
  return makeOne(whole, static_cast<mode_t>(mode)) ? 0 : -1;
}

}  // namespace LedgoraCollect
