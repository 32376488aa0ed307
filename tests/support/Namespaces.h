#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "support/TempRoot.h"

namespace LedgoraTest {

/// Runs `body` in a child process that has entered new namespaces (CLONE_NEWNS,
/// CLONE_NEWNET, CLONE_NEWPID, CLONE_NEWUTS, CLONE_NEWIPC or'ed together).
/// Mounts made there stay there. In a new network namespace only the loopback
/// exists, and it is up. In a new pid namespace the body is process 1. True if
/// the body had no failed expectation; what failed is printed by the child.
bool passesInNamespaces(int flags, const std::function<void()>& body);

/// Enters a mount namespace of its own, from which no mount gets out, also in a
/// chroot. False with errno if that isn't possible: then nothing may be mounted.
bool enterMountNamespace();

/// True if this process's root isn't its mount namespace's.
bool isChrooted();

/// Puts the shell script in the place of every program of that name, for this
/// mount namespace; where there is none, it is found in `fakes`, which PATH is
/// to name. False if a mount failed.
bool replaceProgram(TempRoot& fakes, const std::string& name, const std::string& script);

/// Enters a network namespace of its own with the loopback up: for
/// ProgramRun::inChild.
void enterNetworkNamespace();

/// 64 digits that no other test has at this time: what ends a container ends
/// everything in the group of its name.
std::string newContainerId();

struct ContainerOptions {
  std::string root;                  // an existing directory
  std::vector<std::string> command;  // as the container sees it
  std::string id = newContainerId();
  bool scope = true;   // control group ".../docker-<id>.scope", else ".../docker/<id>"
  int namespaces = 0;  // besides the mount namespace: CLONE_NEWPID, CLONE_NEWNET ...
  uid_t uid = 0;
  gid_t gid = 0;
  bool hostPrograms = true;  // this machine's /usr, /bin, /sbin and /lib* read-only, /dev, /proc
};

/// A process in a container as runtimes make them: a root and a mount
/// namespace of its own, in a control group of the name that they use.
/// Needs the rights for that; runs until it is destroyed or ends by itself.
class TestContainer {
 public:
  explicit TestContainer(const ContainerOptions& options);
  ~TestContainer();
  TestContainer(const TestContainer&) = delete;
  TestContainer& operator=(const TestContainer&) = delete;

  /// The process as this machine numbers it.
  pid_t pid() const { return mPid; }

 private:
  void stop();
  std::string mGroup;
  pid_t mPid = -1;
};

}  // namespace LedgoraTest
