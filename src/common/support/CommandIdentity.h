#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace LedgoraCollect {

/// With whose rights a command runs: what its process takes on between the
/// fork and the start of the shell.
struct CommandIdentity {
  uid_t uid = 0;
  gid_t gid = 0;
  std::vector<gid_t> groups;
  /// Capability bounding set as /proc/<pid>/status shows it (CapBnd): bit n
  /// stands for capability n. What isn't in it is dropped for good.
  std::uint64_t capabilityBounds = 0;
  bool noNewPrivileges = true;
};

/// Reads an identity out of the text of /proc/<pid>/status ("Uid:", "Gid:",
/// "Groups:", "CapBnd:"). Where a process has several user ids at once (a
/// set-id program), the one with fewer rights is taken: the first that isn't
/// root. noNewPrivileges is always set.
/// Returns false if a field is missing or no number; `identity` is then unspecified.
bool parseCommandIdentity(std::string_view statusText, CommandIdentity& identity);

/// The identity of process `pid`, as `procRoot`/<pid>/status shows it.
bool readCommandIdentity(int pid, CommandIdentity& identity, const std::string& procRoot = "/proc");

/// Takes the identity on, for good, in a process that has one thread: supplementary
/// groups, group, user, bounding set, no inheritable or ambient capability.
/// Allocates nothing, so that a forked child may call it.
/// Returns 0, or the errno of the step that failed: then nothing may be run.
int takeOnIdentity(const CommandIdentity& identity);

}  // namespace LedgoraCollect
