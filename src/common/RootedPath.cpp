#include "common/RootedPath.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>

#include "common/RootOpen.h"

namespace LedgoraCollect {

namespace {

constexpr std::size_t kNone = std::string::npos;
constexpr int kRootFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

// A proc file system, opened at first need.
struct ProcTree {
  FileDescriptor directory;
  bool lookedFor = false;
};

// Descriptors of the environment and of the proc file system in it.
struct Environment {
  std::string text;
  FileDescriptor root;
  ProcTree proc;
};

Environment& current() {
  static Environment environment;
  return environment;
}

std::size_t skipSlashes(const std::string& path, std::size_t at) {
  while (at < path.size() && path[at] == '/') ++at;
  return at;
}

// Matches the components of `prefix` from `at` on, whatever the number of slashes between.
// Returns the position behind the last of them, or kNone.
std::size_t matchComponents(const std::string& path, std::size_t at, const std::string& prefix) {
  if (prefix.front() == '/' && (at >= path.size() || path[at] != '/')) return kNone;
  std::size_t position = skipSlashes(prefix, 0);
  while (position < prefix.size()) {
    const std::size_t end = std::min(prefix.find('/', position), prefix.size());
    at = skipSlashes(path, at);
    if (path.compare(at, end - position, prefix, position, end - position) != 0) return kNone;
    at += end - position;
    if (at < path.size() && path[at] != '/') return kNone;
    position = skipSlashes(prefix, end);
  }
  return at;
}

// Matches "/proc/<pid>/root" from `at` on. Sets `pid`; returns as matchComponents does.
std::size_t matchContainer(const std::string& path, std::size_t at, std::string& pid) {
  at = matchComponents(path, at, "/proc");
  if (at == kNone) return kNone;
  at = skipSlashes(path, at);
  const std::size_t end = std::min(path.find_first_not_of("0123456789", at), path.size());
  pid = path.substr(at, end - at);
  return pid.empty() ? kNone : matchComponents(path, end, "/root");
}

int environmentRoot() {
  Environment& environment = current();
  if (!environment.root) environment.root.reset(::open(environment.text.c_str(), kRootFlags));
  return environment.root.get();
}

void lookForProc(ProcTree& tree, bool inEnvironment) {
  constexpr int kFlags = kRootFlags | O_NOFOLLOW;
  tree.lookedFor = true;
  tree.directory = inEnvironment ? openInRoot(environmentRoot(), "proc", kFlags, RootRule::Linkless)
                                 : FileDescriptor(::open("/proc", kFlags));
  struct statfs fileSystem {};
  if (tree.directory &&
      (fstatfs(tree.directory.get(), &fileSystem) != 0 || fileSystem.f_type != PROC_SUPER_MAGIC)) {
    tree.directory.reset();
  }
}

// The proc file system of the host, or the one mounted in the environment; -1 if what is
// there isn't one: then "/proc/<pid>/root" is only a name that somebody made.
int procDirectory(bool inEnvironment) {
  static ProcTree host;
  ProcTree& tree = inEnvironment ? current().proc : host;
  if (!tree.lookedFor) lookForProc(tree, inEnvironment);
  return tree.directory.get();
}

// The one link of the proc file system that is followed.
FileDescriptor openContainerRoot(bool inEnvironment, const std::string& pid) {
  const std::string name = pid + "/root";
  return FileDescriptor(openat(procDirectory(inEnvironment), name.c_str(), kRootFlags));
}

bool namesRootItself(const std::string& path, std::size_t end) { return end == path.size(); }

}  // namespace

void RootedPath::setEnvironment(const std::string& environment) {
  const std::size_t last = environment.find_last_not_of('/');
  current() = Environment();
  if (last != kNone) current().text = environment.substr(0, last + 1);
}

const std::string& RootedPath::environment() { return current().text; }

RootedPath RootedPath::of(const std::string& path, bool followLast) {
  RootedPath place;
  const std::string& environment = current().text;
  const std::size_t end = environment.empty() ? kNone : matchComponents(path, 0, environment);
  const bool inside = end != kNone;
  std::string pid;
  const std::size_t container = matchContainer(path, inside ? end : 0, pid);
  if (container != kNone && (followLast || !namesRootItself(path, container)) &&
      procDirectory(inside) >= 0) {
    place.cut(path, container);
    place.mRoot = openContainerRoot(inside, pid);
  } else if (inside && (followLast || !namesRootItself(path, end))) {
    place.cut(path, end);
    place.mRoot.reset(openat(environmentRoot(), ".", kRootFlags));
  }
  return place;
}

RootedPath RootedPath::under(const std::string& root, const std::string& path, bool followLast) {
  RootedPath place = of(path, followLast);
  if (root.find_first_not_of('/') == kNone) return place;
  const std::size_t end = matchComponents(path, 0, root);
  if (end == kNone || end <= place.mPrefix.size() || (!followLast && namesRootItself(path, end))) {
    return place;
  }
  if (place.onHost()) {
    place.mRoot.reset(::open(root.c_str(), kRootFlags));
  } else {
    const std::string below = path.substr(place.mPrefix.size(), end - place.mPrefix.size());
    place.mRoot = openInRoot(place.mRoot.get(), below, kRootFlags, RootRule::InRoot);
  }
  place.cut(path, end);
  return place;
}

void RootedPath::cut(const std::string& path, std::size_t end) {
  mOnHost = false;
  mPrefix = path.substr(0, end);
  mRest = path.substr(end);
}

}  // namespace LedgoraCollect
