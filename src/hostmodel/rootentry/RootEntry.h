#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

/// A command to be run in a root.
struct RootEntryRequest {
  std::string root;                      ///< a directory, or a process's "/proc/<pid>/root"
  std::vector<std::string> command;      ///< program and arguments, at least one
  std::vector<std::string> environment;  ///< "NAME=value", all that the command gets
  std::string path;                      ///< where the program is looked for in the root
  int asProcess = 0;                     ///< pid whose rights it takes on; 0: see below
};

/// Runs the command with nothing outside of the root in reach.
///
/// In a directory it has namespaces of its own (files, processes, network,
/// IPC, users), sees the root read-only, and has no capability but to read
/// files. Where the root has a proc file system mounted, the command's own
/// process can be seen there, as ps needs it. In the root of a process with a
/// mount namespace of its own the same holds within that process's
/// namespaces, and the capability is only there if the process may have it.
///
/// With `asProcess` it has the user, groups, capability bounding set and
/// limits of that process. In a container it then is a process of that
/// container, with its files as they are.
///
/// Ends the command with itself. Returns the command's exit status (128 and
/// the signal if one ended it), 126 or 127 if it couldn't be started, 125 if
/// what is said here can't be assured: then nothing was run, and `error` says why.
int enterRootAndRun(const RootEntryRequest& request, std::string& error);

}  // namespace LedgoraCollect
