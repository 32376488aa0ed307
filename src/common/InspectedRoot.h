#pragma once

#include <sys/stat.h>

#include <string>

#include "common/support/Handles.h"

namespace LedgoraCollect {

// Everything below an inspected root (the run's environment, or a container's root as
// "<environment>/proc/<pid>/root") was made by somebody else: every name there may be a link,
// also one that changes while we look. The operations here resolve such a path inside its
// root, as a process with that root would, when it is opened, whatever the links are. Which
// root a path belongs to is read from its text; a path below none is the host's own and is
// opened as it stands. Links of the proc file system (root, cwd, exe, fd) aren't followed
// inside a root; only the one that is the container's root itself is.
//
// All report failure by result and errno, and log nothing.

class InspectedRoot {
 public:
  /// Tells the root of this run, once, before anything is asked. Empty or "/" is the host.
  static void setEnvironment(const std::string& environment);
  static const std::string& environment();
};

/// Opens for reading. `flags` may hold O_PATH, O_NOFOLLOW and O_DIRECTORY; O_CLOEXEC,
/// O_NONBLOCK and O_NOCTTY are added. Without O_PATH and O_DIRECTORY only a regular file (or
/// one of proc and sys) is opened, anything else fails with EINVAL before it is touched.
FileDescriptor openInspected(const std::string& path, int flags);

/// Opens for reading what an O_PATH descriptor stands for, under the same conditions.
FileDescriptor reopenInspected(const FileDescriptor& object);

/// Opens a text that the host's proc file system has of one process, such as
/// "/proc/12/status" or "/proc/12/task/12/cgroup", at once: nothing in such a path can be a
/// link to elsewhere. Invalid for any other path, and where it can't be opened.
FileDescriptor openProcessText(const std::string& path);

/// A directory for readdir.
DirHandle openInspectedDir(const std::string& path);

/// As stat and lstat: 0, or -1 with errno.
int statInspected(const std::string& path, struct stat& status);
int lstatInspected(const std::string& path, struct stat& status);

/// As access(path, F_OK): true if the path leads to something.
bool existsInspected(const std::string& path);

/// Sets `out` to a link's own text. Returns false with errno if it is no link.
bool readlinkInspected(const std::string& path, std::string& out);

/// The path to which a name leads inside its root, links resolved, with the root's own text
/// in front. What is missing is kept as text behind the last thing that exists.
std::string resolveInspected(const std::string& path);

/// A name under which a library may open what a path leads to: it stands for the opened
/// object itself, so nothing can change behind it. Valid while this object lives. For a
/// directory, members may be appended; they must be opened without following links.
class InspectedPath {
 public:
  /// Takes regular files and directories only.
  explicit InspectedPath(const std::string& path);
  explicit operator bool() const { return static_cast<bool>(mDescriptor); }
  /// "/proc/self/fd/N"; empty if the path led to nothing.
  const std::string& path() const { return mPath; }

 private:
  FileDescriptor mDescriptor;
  std::string mPath;
};

}  // namespace LedgoraCollect
