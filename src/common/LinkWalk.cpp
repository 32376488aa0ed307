#include "common/LinkWalk.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "common/PathPieces.h"
#include "common/RootOpen.h"
#include "common/RootedPath.h"

namespace LedgoraCollect {

namespace {

constexpr int kMaxDepth = 9;  // of followed links, counted from 0
constexpr int kItself = O_PATH | O_NOFOLLOW;

FileDescriptor openItself(const std::string& root, const std::string& path) {
  const RootedPath place = RootedPath::under(root, path, false);
  if (place.onHost()) return FileDescriptor(::open(path.c_str(), kItself | O_CLOEXEC));
  if (place.root() < 0) return FileDescriptor();
  return openInRoot(place.root(), place.rest(), kItself, RootRule::InRoot);
}

std::string joined(const std::string& path) { return joinPieces(pathPieces(path)); }

std::string resolved(const RootedPath& place) {
  RootWalk walk(place.root(), RootRule::InRoot, true);
  walk.walk(place.rest());
  return joined(place.prefix()) + walk.text();
}

}  // namespace

bool LinkWalk::look(const std::string& path, struct stat& status) const {
  const FileDescriptor object = openItself(mRoot, path);
  return object && fstat(object.get(), &status) == 0;
}

bool LinkWalk::readLink(const std::string& path, std::string& text) const {
  char buffer[PATH_MAX];
  const FileDescriptor link = openItself(mRoot, path);
  const ssize_t length = link ? readlinkat(link.get(), "", buffer, sizeof buffer) : -1;
  if (length < 1) return false;
  text.assign(buffer, static_cast<std::size_t>(length));
  return true;
}

// The text as it stands, unless a program that opened it by name would be led out of the root:
// then the path to which it leads inside. A last link isn't followed by this test.
std::string LinkWalk::keptInside(const std::string& path) const {
  const RootedPath place = RootedPath::under(mRoot, path, false);
  if (place.onHost() || place.root() < 0) return path;
  if (openInRoot(place.root(), place.rest(), kItself, RootRule::Beneath)) return path;
  return errno == EXDEV ? resolved(place) : path;
}

bool LinkWalk::endLink(const std::string& path, std::string& out, int depth) const {
  std::string current = path;
  for (;; ++depth) {
    struct stat status {};
    if (!look(current, status)) break;
    if (!S_ISLNK(status.st_mode) || depth > kMaxDepth) {
      out = keptInside(current);
      return true;
    }
    std::string target;
    if (!readLink(current, target)) break;
    // The link's own name stays in front of a relative target. For a link to a directory the
    // system reads that as intended; otherwise the text is missing and the walk is given up.
    current = target.front() == '/' ? mRoot + target : current + "/" + target;
  }
  out = current;
  return false;
}

std::string LinkWalk::linked(const std::string& path) const {
  const RootedPath place = RootedPath::under(mRoot, path, true);
  if (!place.onHost() && place.root() < 0) return path;
  const std::vector<std::string> pieces = pathPieces(place.onHost() ? path : place.rest());
  // The prefix keeps its own text: it was given, not found in the root.
  std::string result = place.onHost() ? "" : joined(place.prefix());
  if (!place.onHost()) {
    // Mostly there are no links, or nothing at all: one call tells.
    const FileDescriptor plain =
        openInRoot(place.root(), place.rest(), kItself, RootRule::Linkless);
    struct stat status {};
    const bool missing = !plain && (errno == ENOENT || errno == ENOTDIR);
    if (missing || (plain && fstat(plain.get(), &status) == 0 && !S_ISLNK(status.st_mode))) {
      return result + joined(place.rest());
    }
  }
  for (const std::string& piece : pieces) {
    const std::string next = result + "/" + piece;
    if (!endLink(next, result, 0)) return place.onHost() ? path : resolved(place);
  }
  return result;
}

}  // namespace LedgoraCollect
