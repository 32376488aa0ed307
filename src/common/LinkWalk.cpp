#include "common/LinkWalk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "common/PathPieces.h"
#include "common/RootOpen.h"

namespace LedgoraCollect {

namespace {

constexpr int kMaxDepth = 9;  // of followed links, counted from 0
constexpr int kItself = O_PATH | O_NOFOLLOW;

std::string joined(const std::string& path) { return joinPieces(pathPieces(path)); }

// What is found under a name. `target` is a link's text, empty for anything else.
struct Found {
  bool exists = false;
  bool isLink = false;
  std::string target;
};

Found look(const FileDescriptor& object) {
  Found found;
  struct stat status {};
  found.exists = object && fstat(object.get(), &status) == 0;
  found.isLink = found.exists && S_ISLNK(status.st_mode);
  if (!found.isLink) return found;
  char buffer[PATH_MAX];
  const ssize_t length = readlinkat(object.get(), "", buffer, sizeof buffer);
  if (length > 0) found.target.assign(buffer, static_cast<std::size_t>(length));
  return found;
}

// The link's own name stays in front of a relative target. Behind a link to a directory the
// system reads that as intended; otherwise the text is missing and the walk is given up.
std::string targetOf(const std::string& root, const std::string& link, const std::string& target) {
  return target.front() == '/' ? root + target : link + "/" + target;
}

// Names behind a root's text. Returns false if they can't be resolved: then `rest` stays.
bool resolveRest(int root, std::string& rest) {
  RootWalk walk(root, RootRule::InRoot, true);
  if (!walk.walk(rest) && errno == ELOOP) return false;
  rest = walk.text();
  return true;
}

// A link's text may read like the root of a container. It isn't one: nobody asked for it.
bool belongsTo(const RootedPath& place, const std::string& path) {
  const RootedPath known = RootedPath::of(path, true);
  return known.onHost() || known.prefix().size() <= place.prefix().size();
}

// One chain of links inside a root. `rest` is kept as its text, unless a program that opened
// the text by name would be led out of the root: then it becomes the path to which it leads
// inside. A last link isn't followed by that test.
bool followChain(int root, std::string& rest, int depth) {
  for (;; ++depth) {
    FileDescriptor object = openInRoot(root, rest, kItself, RootRule::Beneath);
    const bool leadsOut = !object && errno == EXDEV;
    if (leadsOut) object = openInRoot(root, rest, kItself, RootRule::InRoot);
    const Found found = look(object);
    if (!found.exists || (found.isLink && depth <= kMaxDepth && found.target.empty())) return false;
    if (!found.isLink || depth > kMaxDepth) return !leadsOut || resolveRest(root, rest);
    rest = targetOf("", rest, found.target);
  }
}

}  // namespace

std::string LinkWalk::resolved(const RootedPath& place, const std::string& given) {
  std::string rest = place.rest();
  if (place.root() < 0 || !resolveRest(place.root(), rest)) return given;
  const std::string result = joined(place.prefix()) + rest;
  return belongsTo(place, result) ? result : given;
}

bool LinkWalk::endLink(const std::string& path, std::string& out, int depth) const {
  for (out = path;; ++depth) {
    const RootedPath place = RootedPath::under(mRoot, out, false);
    if (!place.onHost()) return endLinkInRoot(place, std::string(out), out, depth);
    const Found found = look(FileDescriptor(::open(out.c_str(), kItself | O_CLOEXEC)));
    if (!found.exists) return false;
    if (!found.isLink || depth > kMaxDepth) return true;
    if (found.target.empty()) return false;
    out = targetOf(mRoot, std::string(out), found.target);
  }
}

bool LinkWalk::endLinkInRoot(const RootedPath& place, const std::string& path, std::string& out,
                             int depth) const {
  std::string rest = place.rest();
  const bool found = place.root() >= 0 && followChain(place.root(), rest, depth);
  out = place.prefix() + rest;
  if (belongsTo(place, out)) return found;
  out = path;
  return false;
}

std::string LinkWalk::linked(const std::string& path) const {
  const RootedPath place = RootedPath::under(mRoot, path, true);
  if (place.onHost()) return linkedOnHost(path);
  if (place.root() < 0) return path;
  // The prefix keeps its own text: it was given, not found in the root.
  const std::string prefix = joined(place.prefix());
  // Mostly there are no links, or nothing at all: one call tells.
  const Found plain = look(openInRoot(place.root(), place.rest(), kItself, RootRule::Linkless));
  const bool missing = !plain.exists && (errno == ENOENT || errno == ENOTDIR);
  const std::string given = prefix + joined(place.rest());
  if (missing || (plain.exists && !plain.isLink)) return given;
  std::string rest;
  for (const std::string& piece : pathPieces(place.rest())) {
    rest += "/" + piece;
    if (!followChain(place.root(), rest, 0)) return resolved(place, given);
  }
  return belongsTo(place, prefix + rest) ? prefix + rest : given;
}

std::string LinkWalk::linkedOnHost(const std::string& path) const {
  std::string result;
  for (const std::string& piece : pathPieces(path)) {
    const std::string next = result + "/" + piece;
    if (!endLink(next, result, 0)) return path;
  }
  return result;
}

}  // namespace LedgoraCollect
