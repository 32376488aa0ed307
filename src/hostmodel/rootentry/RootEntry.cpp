#include "hostmodel/rootentry/RootEntry.h"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "common/support/CommandIdentity.h"
#include "common/support/Handles.h"
#include "hostmodel/rootentry/EnteringProcess.h"
#include "hostmodel/rootentry/Namespaces.h"
#include "hostmodel/rootentry/RootTarget.h"

namespace LedgoraCollect {
namespace {

bool failed(std::string& error, const char* step, int number) {
  error = std::string(step) + ": " + std::strerror(number);
  return false;
}

bool writeAt(int directory, const std::string& name, const std::string& text) {
  const FileDescriptor file(openat(directory, name.c_str(), O_WRONLY | O_CLOEXEC));
  return file && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

/// The ids of `map`, each as itself.
std::string identityMap(const std::string& map) {
  std::string identity;
  for (std::size_t start = 0; start < map.size();) {
    unsigned long inside = 0;
    unsigned long outside = 0;
    unsigned long count = 0;
    const std::size_t end = std::min(map.find('\n', start), map.size());
    if (std::sscanf(map.c_str() + start, "%lu %lu %lu", &inside, &outside, &count) == 3) {
      identity += std::to_string(inside) + " " + std::to_string(inside) + " " +
                  std::to_string(count) + "\n";
    }
    start = end + 1;
  }
  return identity;
}

// Every user keeps its number: rows of ps and owners of files read the same.
bool mapUsers(int proc, const std::string& pid) {
  for (const char* name : {"/uid_map", "/gid_map"}) {
    std::string own;
    const FileDescriptor self(openat(proc, "self", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!self || !readTextAt(self.get(), name + 1, own) ||
        !writeAt(proc, pid + name, identityMap(own))) {
      return false;
    }
  }
  return true;
}

/// Answers the entering process until it has started its program or given up.
bool attend(int channel, int proc, std::string& error) {
  char message[512];
  ssize_t length = 0;
  bool entered = true;
  while ((length = recv(channel, message, sizeof message, 0)) > 0) {
    const std::string text(message + 1, static_cast<std::size_t>(length - 1));
    if (message[0] == kChannelUsers) {
      const char answer = mapUsers(proc, text) ? kChannelDone : kChannelRefused;
      if (send(channel, &answer, 1, MSG_NOSIGNAL) != 1) return failed(error, "answer", errno);
    } else {
      error = text;
      entered = false;
    }
  }
  return entered;
}

int waitFor(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return 125;
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

/// Process, root and rights that the request means; the pid namespace is
/// entered for the children.
bool prepare(const RootEntryRequest& request, EnteringProcess& entering, std::string& error) {
  entering.proc.reset(open("/proc", O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!entering.proc) return failed(error, "/proc", errno);
  if (!openRootTarget(request.root, entering.target)) return failed(error, "root", errno);
  RootTarget& target = entering.target;
  if (target.process && !entering.namespaces.open(target.process.get())) {
    return failed(error, "namespaces", errno);
  }
  entering.isContainer = target.process && !entering.namespaces.isShared(Namespaces::kMount);
  std::string status;
  if (target.process) {
    CommandIdentity rights;
    if (!readTextAt(target.process.get(), "status", status) ||
        !parseCommandIdentity(status, rights)) {
      return failed(error, "rights of the container", EINVAL);
    }
    entering.bounds = rights.capabilityBounds;
  }
  if (request.asProcess == 0) return true;
  entering.process = target.process
                         ? FileDescriptor(dup(target.process.get()))
                         : openProcIn(target.root.get(), std::to_string(request.asProcess));
  if (!entering.process || !readTextAt(entering.process.get(), "status", status) ||
      !parseCommandIdentity(status, entering.identity) ||
      !readTextAt(entering.process.get(), "limits", entering.limits)) {
    return failed(error, "rights of the process", ESRCH);
  }
  entering.takesIdentity = true;
  return true;
}

/// For the children that are made from now on.
bool enterPidNamespace(const EnteringProcess& entering, std::string& error) {
  if (entering.isContainer) {
    if (entering.namespaces.isShared(Namespaces::kPid)) return true;
    const int number = entering.namespaces.enter(Namespaces::kPid);
    return number == 0 || failed(error, "pid namespace", number);
  }
  const FileDescriptor proc = openProcIn(entering.target.root.get(), "");
  if (proc) enterPidNamespaceOf(proc.get());
  return true;
}

/// The identity with the numbers that the container's own users have. What
/// isn't mapped there, or may not be set there, is left out: that is never more.
int readIdentityInside(EnteringProcess& entering) {
  constexpr gid_t kUnmapped = 65534;
  std::string text;
  CommandIdentity& identity = entering.identity;
  if (!readTextAt(entering.process.get(), "status", text) ||
      !parseCommandIdentity(text, identity)) {
    return ESRCH;
  }
  std::vector<gid_t>& groups = identity.groups;
  groups.erase(std::remove(groups.begin(), groups.end(), kUnmapped), groups.end());
  text.clear();
  if (readTextAt(entering.process.get(), "setgroups", text) && text.rfind("deny", 0) == 0) {
    groups.clear();
  }
  return 0;
}

// The users come last: as one of theirs a process could enter nothing else.
// They must be entered before the command's pid namespace is made, since only
// a user of the one around it may make it.
int enterContainer(EnteringProcess& entering) {
  const Namespaces& namespaces = entering.namespaces;
  for (const auto kind :
       {Namespaces::kIpc, Namespaces::kUts, Namespaces::kNet, Namespaces::kMount}) {
    const int error = namespaces.isShared(kind) ? 0 : namespaces.enter(kind);
    if (error != 0) return error;
  }
  if (namespaces.isShared(Namespaces::kUser)) return 0;
  // Once there, this may not be allowed any more.
  if (setgroups(0, nullptr) != 0) return errno;
  int error = namespaces.enter(Namespaces::kUser);
  if (error == 0 && entering.takesIdentity) error = readIdentityInside(entering);
  if (error != 0) return error;
  // A user whom the container doesn't know could make no file in its mounts.
  return setresgid(0, 0, 0) == 0 && setresuid(0, 0, 0) == 0 ? 0 : errno;
}

// The command is process 1 of a pid namespace of its own: it can reach no
// other process, and nothing that it starts outlives it. A helper in the
// namespaces around it makes it, as a child of this process, which so sees its
// end, and whose end it doesn't survive. 0, or errno.
int startEntering(const RootEntryRequest& request, EnteringProcess& entering) {
  const pid_t helper = fork();
  if (helper < 0) return errno;
  if (helper > 0) return waitFor(helper);
  // Who has rights over the container's processes has none over this one.
  if (prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0) _exit(errno);
  const int error = entering.isContainer ? enterContainer(entering) : 0;
  if (error != 0) _exit(error);
  const long child = syscall(SYS_clone, CLONE_NEWPID | CLONE_PARENT | SIGCHLD, 0, 0, 0, 0);
  if (child == 0) entering.run(request);
  _exit(child < 0 ? errno : 0);
}

}  // namespace

int enterRootAndRun(const RootEntryRequest& request, std::string& error) {
  EnteringProcess entering;
  if (!prepare(request, entering, error) || !enterPidNamespace(entering, error)) return 125;
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) != 0) {
    failed(error, "socketpair", errno);
    return 125;
  }
  FileDescriptor channel(pair[0]);
  entering.channel.reset(pair[1]);
  const int refused = startEntering(request, entering);
  if (refused != 0) {
    failed(error, "namespaces of the command", refused);
    return 125;
  }
  entering.channel.reset();
  const bool entered = attend(channel.get(), entering.proc.get(), error);
  const int status = waitFor(-1);
  return entered ? status : 125;
}

}  // namespace LedgoraCollect
