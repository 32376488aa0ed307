#pragma once

#include <cstdint>
#include <string>

#include "common/support/CommandIdentity.h"
#include "common/support/Handles.h"
#include "hostmodel/rootentry/Namespaces.h"
#include "hostmodel/rootentry/RootEntry.h"
#include "hostmodel/rootentry/RootTarget.h"

namespace LedgoraCollect {

// First bytes of the messages between the entering process and its parent.
constexpr char kChannelUsers = 'u';    ///< "map users", with the pid as /proc names it
constexpr char kChannelDone = 'd';     ///< the answer: done
constexpr char kChannelRefused = 'r';  ///< the answer: couldn't be done
constexpr char kChannelError = 'e';    ///< a step failed: its text

/// The process that becomes the command: it enters the root, gives up
/// everything else, and starts the program.
class EnteringProcess {
 public:
  /// Returns only by ending the process.
  [[noreturn]] void run(const RootEntryRequest& request);

  FileDescriptor proc;     ///< the proc file system of this machine
  FileDescriptor channel;  ///< to the parent
  RootTarget target;
  Namespaces namespaces;         ///< of the target's process, where there is one
  bool isContainer = false;      ///< that process has a mount namespace of its own
  std::uint64_t bounds = ~0ULL;  ///< its capability bounding set
  bool takesIdentity = false;
  FileDescriptor process;  ///< /proc/<pid> of the process whose identity it is
  CommandIdentity identity;
  std::string limits;  ///< text of the identity's limits file

 private:
  const char* leaveParent();
  const char* leaveSharedNamespaces();
  const char* enterFiles();
  const char* giveUpRights();
  const char* makeUserNamespace();
  const char* takeOnIdentityAndLimits();
  bool isConfined() const { return !isContainer || !takesIdentity; }
  std::uint64_t allowedCapabilities() const;

  std::string mPid;  ///< as this machine's /proc names this process
  bool mHasProc = false;
};

}  // namespace LedgoraCollect
