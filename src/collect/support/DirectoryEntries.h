#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "common/InspectedRoot.h"

namespace LedgoraCollect {

/// A path that doesn't fit a path buffer isn't looked at.
constexpr std::size_t kMaximumPathBytes = 4095;

/// No directory of packages holds more of them. Without a bound whoever fills a
/// directory would decide how much memory a run takes.
constexpr std::size_t kMaximumPackageEntries = 100'000;

/// Calls `visit` with the joined path of each entry of a directory but "." and
/// "..", in directory order, and with a function that gives the entry's own
/// mode (of a link: the link's; 0 if it is gone), until `visit` returns
/// false. Returns false, with errno, if the directory can't be opened. A
/// relative path is never taken as one below the tool's own directory.
template <class Visit>
bool forEachEntry(const std::string& directory, Visit visit) {
  if (directory.empty() || directory.front() != '/') {
    errno = ENOENT;
    return false;
  }
  const DirHandle handle = openInspectedDir(directory);
  if (!handle) return false;
  const std::string front = directory.back() == '/' ? directory : directory + "/";
  while (const dirent* entry = ::readdir(handle.get())) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == ".." || front.size() + name.size() > kMaximumPathBytes) continue;
    const auto modeOf = [&handle, entry]() -> mode_t {
      struct stat status {};
      const int result = fstatat(dirfd(handle.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW);
      return result == 0 ? status.st_mode : 0;
    };
    if (!visit(front + entry->d_name, modeOf)) break;
  }
  return true;
}

}  // namespace LedgoraCollect
