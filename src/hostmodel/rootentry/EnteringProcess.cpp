#include "hostmodel/rootentry/EnteringProcess.h"

#include <grp.h>
#include <linux/capability.h>
#include <linux/keyctl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <vector>

#include "hostmodel/rootentry/Confinement.h"
#include "hostmodel/rootentry/RootMounts.h"
#include "hostmodel/rootentry/SyscallFilter.h"

namespace LedgoraCollect {
namespace {

constexpr int kNotAssured = 125;
constexpr int kNotStarted = 126;
constexpr int kNotFound = 127;
// What reads files whoever owns them. The second is what containers usually
// have; with everything read-only it does no more than the first.
constexpr std::uint64_t kReading =
    capabilityBit(CAP_DAC_READ_SEARCH) | capabilityBit(CAP_DAC_OVERRIDE);

bool isRoot(const CommandIdentity& identity) { return identity.uid == 0; }

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> list;
  for (const std::string& text : texts) list.push_back(const_cast<char*>(text.c_str()));
  list.push_back(nullptr);
  return list;
}

// As execvp does, in the directories meant for inside the root.
int startProgram(const RootEntryRequest& request) {
  const std::vector<char*> arguments = pointers(request.command);
  const std::vector<char*> environment = pointers(request.environment);
  const std::string& name = request.command.front();
  int result = ENOENT;
  const bool direct = name.find('/') != std::string::npos;
  for (std::size_t start = 0; start <= request.path.size();) {
    const std::size_t end = std::min(request.path.find(':', start), request.path.size());
    const std::string directory = request.path.substr(start, end - start);
    start = end + 1;
    if (directory.empty() && !direct) continue;
    const std::string program = direct ? name : directory + "/" + name;
    execve(program.c_str(), arguments.data(), environment.data());
    if (errno != ENOENT && errno != ENOTDIR) result = errno;
    if (direct) break;
  }
  return result == ENOENT ? kNotFound : kNotStarted;
}

}  // namespace

void EnteringProcess::run(const RootEntryRequest& request) {
  errno = 0;
  const char* step = leaveParent();
  if (step == nullptr) step = leaveSharedNamespaces();
  if (step == nullptr) step = enterFiles();
  if (step == nullptr) step = giveUpRights();
  if (step != nullptr) {
    const std::string text = std::string(1, kChannelError) + step + ": " + std::strerror(errno);
    static_cast<void>(send(channel.get(), text.data(), text.size(), MSG_NOSIGNAL));
    _exit(kNotAssured);
  }
  _exit(startProgram(request));
}

// A session of its own: no signal to a group can reach anything outside.
const char* EnteringProcess::leaveParent() {
  char link[32] = {};
  if (readlinkat(proc.get(), "self", link, sizeof link - 1) <= 0) return "own process in /proc";
  mPid = link;
  if (setsid() < 0) return "session";
  if (fchdir(target.root.get()) != 0) return "root directory";
  // No key of the tool's session is handed on; kernels without keys have none.
  if (syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr) < 0 && errno != ENOSYS) {
    return "keyring";
  }
  return nullptr;
}

// What the container's process shares with this machine is, but for a command
// that takes on a process's rights, replaced by something of the command's own.
const char* EnteringProcess::leaveSharedNamespaces() {
  constexpr struct {
    Namespaces::Kind kind;
    int flag;
  } kKinds[] = {{Namespaces::kIpc, CLONE_NEWIPC},
                {Namespaces::kUts, CLONE_NEWUTS},
                {Namespaces::kNet, CLONE_NEWNET}};
  for (const auto& entry : kKinds) {
    if (isContainer && !namespaces.isShared(entry.kind)) continue;
    if (isConfined() && unshare(entry.flag) != 0) return "namespaces";
  }
  if (!isContainer) return unshare(CLONE_NEWNS) == 0 ? nullptr : "mount namespace";
  if (fchdir(target.root.get()) != 0) return "root directory";
  if (isConfined() && unshare(CLONE_NEWNS) != 0) return "mount namespace";
  return nullptr;
}

const char* EnteringProcess::enterFiles() {
  if (!isConfined()) {
    return chroot(".") == 0 && chdir("/") == 0 ? nullptr : "root directory";
  }
  RootMounts mounts;
  const char* step = confineMounts(proc.get(), mounts);
  mHasProc = mounts.hasProc;
  return step;
}

std::uint64_t EnteringProcess::allowedCapabilities() const {
  if (!isConfined()) return identity.capabilityBounds;
  if (takesIdentity && !isRoot(identity)) return 0;
  const std::uint64_t own = takesIdentity ? identity.capabilityBounds : ~0ULL;
  if (!isContainer) return own & bounds & capabilityBit(CAP_DAC_READ_SEARCH);
  return own & bounds & kReading;
}

const char* EnteringProcess::giveUpRights() {
  if (replaceStandardDescriptors() != 0) return "standard descriptors";
  if (isConfined()) {
    // A container's own users may not be allowed to set groups, nor need it here.
    const bool grouped = getgroups(0, nullptr) != 0;
    if ((grouped && setgroups(0, nullptr) != 0) || setresgid(0, 0, 0) != 0 ||
        setresuid(0, 0, 0) != 0) {
      return "user";
    }
    const char* step = makeUserNamespace();
    if (step != nullptr) return step;
  }
  if (takesIdentity) {
    const char* step = takeOnIdentityAndLimits();
    if (step != nullptr) return step;
  }
  if ((errno = refuseCoreDumps()) != 0) return "core dumps";
  if (!takesIdentity && (errno = limitCapabilities(allowedCapabilities())) != 0) {
    return "capabilities";
  }
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return "no_new_privs";
  // Set when the rights are those of the command: a change of them clears it.
  if (prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) != 0) return "parent's end";
  pollfd parent = {channel.get(), POLLIN, 0};
  if (poll(&parent, 1, 0) != 0) return "parent's end";
  const Sockets sockets = isConfined() ? Sockets::Refused : Sockets::Allowed;
  if ((errno = refuseSystemCalls(sockets)) != 0) return "system call filter";
  return nullptr;
}

// Among users of its own, the command has no right over processes of others
// that a proc file system in the root shows: not to their roots, not to their
// memory. Without a proc file system there is nothing to keep it from.
const char* EnteringProcess::makeUserNamespace() {
  if (isContainer && !namespaces.isShared(Namespaces::kUser)) return nullptr;
  if (unshare(CLONE_NEWUSER) != 0) return mHasProc ? "user namespace" : nullptr;
  const std::string request = kChannelUsers + mPid;
  char answer = kChannelRefused;
  if (send(channel.get(), request.data(), request.size(), MSG_NOSIGNAL) < 0 ||
      recv(channel.get(), &answer, 1, 0) != 1) {
    return "user namespace";
  }
  errno = EPERM;
  return answer == kChannelDone ? nullptr : "users of the namespace";
}

const char* EnteringProcess::takeOnIdentityAndLimits() {
  if ((errno = takeOnLimits(limits)) != 0) return "limits";
  CommandIdentity rights = identity;
  rights.capabilityBounds = allowedCapabilities();
  if ((errno = takeOnIdentity(rights)) != 0) return "rights of the process";
  return nullptr;
}

}  // namespace LedgoraCollect
