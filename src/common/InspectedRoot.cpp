#include "common/InspectedRoot.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <iterator>
#include <string_view>
#include <utility>

#include "common/LinkWalk.h"
#include "common/RootOpen.h"
#include "common/RootedPath.h"

namespace LedgoraCollect {

namespace {

constexpr int kShapeFlags = O_PATH | O_NOFOLLOW | O_DIRECTORY;

// What a path leads to; with O_NOFOLLOW the last link itself.
FileDescriptor openAt(const RootedPath& place, const std::string& path, int flags) {
  if (place.onHost()) return FileDescriptor(::open(path.c_str(), flags | O_CLOEXEC));
  if (place.root() < 0) return FileDescriptor();
  return openInRoot(place.root(), place.rest(), flags, RootRule::InRoot);
}

FileDescriptor openObject(const std::string& path, int flags) {
  return openAt(RootedPath::of(path, (flags & O_NOFOLLOW) == 0), path, flags | O_PATH);
}

FileDescriptor openDirectory(const std::string& path, int flags) {
  constexpr int kReadFlags = O_RDONLY | O_DIRECTORY | O_NONBLOCK;
  return openAt(RootedPath::of(path, (flags & O_NOFOLLOW) == 0), path, flags | kReadFlags);
}

// The names that process files have without being links or directories.
constexpr const char* kProcessTexts[] = {"cmdline", "environ", "status", "statm", "cgroup"};

// "<number>/" at the front is cut off.
bool skipNumber(std::string_view& rest) {
  const std::size_t end = rest.find_first_not_of("0123456789");
  if (end == 0 || end == std::string_view::npos || rest[end] != '/') return false;
  rest.remove_prefix(end + 1);
  return true;
}

bool isProcessText(std::string_view path) {
  constexpr std::string_view kProc = "/proc/";
  constexpr std::string_view kTask = "task/";
  if (path.substr(0, kProc.size()) != kProc) return false;
  path.remove_prefix(kProc.size());
  if (!skipNumber(path)) return false;
  if (path.substr(0, kTask.size()) == kTask) {
    path.remove_prefix(kTask.size());
    if (!skipNumber(path)) return false;
  }
  return std::find(std::begin(kProcessTexts), std::end(kProcessTexts), path) !=
         std::end(kProcessTexts);
}

}  // namespace

FileDescriptor openProcessText(const std::string& path) {
  if (!isProcessText(path) || !RootedPath::of(path, true).onHost()) return FileDescriptor();
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (file && (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) file.reset();
  return file;
}

void InspectedRoot::setEnvironment(const std::string& environment) {
  RootedPath::setEnvironment(environment);
}

const std::string& InspectedRoot::environment() { return RootedPath::environment(); }

FileDescriptor openInspected(const std::string& path, int flags) {
  flags &= kShapeFlags;
  if ((flags & O_PATH) != 0) return openObject(path, flags);
  if ((flags & O_DIRECTORY) != 0) return openDirectory(path, flags);
  FileDescriptor text = openProcessText(path);
  return text ? std::move(text) : reopenRegular(openObject(path, flags));
}

FileDescriptor reopenInspected(const FileDescriptor& object) { return reopenRegular(object); }

DirHandle openInspectedDir(const std::string& path) {
  FileDescriptor directory = openDirectory(path, 0);
  if (!directory) return DirHandle();
  DirHandle handle(fdopendir(directory.get()));
  if (handle) directory.release();
  return handle;
}

int statInspected(const std::string& path, struct stat& status) {
  const RootedPath place = RootedPath::of(path, true);
  if (place.onHost()) return ::stat(path.c_str(), &status);
  const FileDescriptor object = openAt(place, path, O_PATH);
  return object ? fstat(object.get(), &status) : -1;
}

int lstatInspected(const std::string& path, struct stat& status) {
  const RootedPath place = RootedPath::of(path, false);
  if (place.onHost()) return ::lstat(path.c_str(), &status);
  const FileDescriptor object = openAt(place, path, O_PATH | O_NOFOLLOW);
  return object ? fstat(object.get(), &status) : -1;
}

bool existsInspected(const std::string& path) {
  struct stat status {};
  return statInspected(path, status) == 0;
}

bool readlinkInspected(const std::string& path, std::string& out) {
  char buffer[PATH_MAX];
  ssize_t length = -1;
  const RootedPath place = RootedPath::of(path, false);
  if (place.onHost()) {
    length = ::readlink(path.c_str(), buffer, sizeof buffer);
  } else {
    const FileDescriptor link = openAt(place, path, O_PATH | O_NOFOLLOW);
    if (!link) return false;
    // Of an object that is no link the kernel says ENOENT here.
    length = readlinkat(link.get(), "", buffer, sizeof buffer);
  }
  if (length < 0) return false;
  out.assign(buffer, static_cast<std::size_t>(length));
  return true;
}

std::string resolveInspected(const std::string& path) {
  const RootedPath place = RootedPath::of(path, true);
  if (place.onHost()) {
    const MallocText resolved(::realpath(path.c_str(), nullptr));
    return resolved ? resolved.get() : path;
  }
  return LinkWalk::resolved(place, path);
}

InspectedPath::InspectedPath(const std::string& path) : mDescriptor(openObject(path, 0)) {
  struct stat status {};
  if (mDescriptor && (fstat(mDescriptor.get(), &status) != 0 ||
                      !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)))) {
    mDescriptor.reset();
  }
  if (mDescriptor) mPath = "/proc/self/fd/" + std::to_string(mDescriptor.get());
}

}  // namespace LedgoraCollect
