#pragma once

#include <string>

namespace LedgoraCollect {

// A command line in a root is read by a shell outside of it, and both take
// their PATH from the one variable that a command is given. So the variable of
// such a command holds the installation's own directory of `chroot` first,
// then the trusted directories, and the PATH meant for inside the root in
// entries that can't lead anywhere outside: each below "/dev/null/".

/// What `chroot` reads out of the PATH that it was started with.
struct RootCommandPath {
  std::string inner;  ///< PATH of the command inside the root
  int asProcess = 0;  ///< pid whose rights the command takes on; 0: none's
};

/// The PATH of a line that holds "chroot". `libexec`: the directory of our own
/// chroot. `trusted`: directories of the host. `inner`: the PATH inside.
std::string makeRootCommandPath(const std::string& libexec, const std::string& trusted,
                                const RootCommandPath& command);

/// The way back. A PATH that wasn't made here is that of the command.
RootCommandPath readRootCommandPath(const std::string& path);

}  // namespace LedgoraCollect
