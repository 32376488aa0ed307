#pragma once

#include <string>

#include "common/support/Handles.h"

namespace LedgoraCollect {

/// The root that a command is to run in, held open so that it stays the same
/// one whatever happens to its name.
struct RootTarget {
  FileDescriptor root;     ///< the directory (O_PATH)
  FileDescriptor process;  ///< /proc/<pid> of the process whose root it is; none for a directory
};

/// Cuts "<prefix>/proc/<pid>/root" into prefix and pid. False for another text.
bool parseProcessRoot(const std::string& root, std::string& prefix, std::string& pid);

/// Opens `root`. Below a prefix no link is followed on the way, and only a
/// mounted proc file system counts as one. False with errno set.
bool openRootTarget(const std::string& root, RootTarget& target);

/// The directory of process `pid` in the proc file system mounted at /proc of
/// the directory `root`, or the file system's own for an empty pid; none if
/// there is no proc file system.
FileDescriptor openProcIn(int root, const std::string& pid);

/// The whole text of a file below `directory`, at most 64 KiB. False with errno.
bool readTextAt(int directory, const char* name, std::string& text);

}  // namespace LedgoraCollect
