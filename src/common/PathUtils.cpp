#include "common/PathUtils.h"

#include <libgen.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "common/InspectedRoot.h"
#include "common/LinkWalk.h"
#include "common/PathPieces.h"
#include "common/ProcessUtils.h"
#include "common/RootedPath.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

constexpr std::size_t kPathBytes = 4096;

bool hasType(const std::string& path, mode_t type) {
  struct stat status {};
  return lstatInspected(path, status) == 0 && (status.st_mode & S_IFMT) == type;
}

std::string collapseSlashes(const std::string& path) {
  return StringUtils::replaceAllStr(path, "//", "/");
}

bool isDirectoryOfOurs(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// Makes the directories in front of each separator. A backslash counts as one too: member
// names of archives made elsewhere hold them.
bool createParents(const std::string& path, mode_t mode) {
  for (std::size_t i = 1; i + 1 < path.size(); ++i) {
    if (path[i] != '/' && path[i] != '\\') continue;
    const std::string parent = path.substr(0, i);
    if (::access(parent.c_str(), F_OK) == 0) continue;
    if (::mkdir(parent.c_str(), mode) != 0 && errno != EEXIST) return false;
  }
  return true;
}

std::string resolvedOnHost(const std::string& path) {
  const MallocText resolved(::realpath(path.c_str(), nullptr));
  return resolved && std::strlen(resolved.get()) < kPathBytes ? resolved.get() : "";
}

}  // namespace

bool PathUtils::isExist(const std::string& path) {
  struct stat status {};
  return lstatInspected(path, status) == 0;
}

bool PathUtils::isDir(const std::string& path) { return hasType(path, S_IFDIR); }

bool PathUtils::isSlink(const std::string& path) { return hasType(path, S_IFLNK); }

bool PathUtils::getLinkPath(const std::string& path, std::string& out) {
  std::string text;
  if (!readlinkInspected(path, text) || text.empty()) return false;
  out = text;
  return true;
}

bool PathUtils::getEndLinkPath(const std::string& path, const std::string& root, std::string& out,
                               int depth) {
  const std::string known = root.empty() ? RootedPath::of(path, false).prefix() : root;
  return LinkWalk(known).endLink(path, out, depth);
}

bool PathUtils::hasSlinkPath(const std::string& path) {
  std::string current;
  for (const std::string& piece : pathPieces(path)) {
    current += "/" + piece;
    if (piece == "." || piece == ".." || isSlink(current)) return true;
  }
  return false;
}

// Asks the file system by plain names on purpose: it also runs in a child that has entered the
// root it asks about.
bool PathUtils::realPath(const std::string& path, std::string& out) {
  if (path.empty()) return false;
  const std::string resolved = resolvedOnHost(path);
  if (!resolved.empty() && ::access(resolved.c_str(), F_OK) == 0) {
    out = resolved;
    return true;
  }
  error_output(0, __func__, __LINE__, "Error realpath convert of path(%s)", path.c_str());
  return false;
}

bool PathUtils::getRealPath(const std::string& root, const std::string& path, std::string& out) {
  if (root.empty()) return realPath(path, out);
  if (!hasSlinkPath(root + path)) {
    out = path;
    return true;
  }
  return ProcessUtils::executeChrootFunction(realPath, root, path, out) && !out.empty();
}

std::string PathUtils::getLinkedPath(const std::string& path, const std::string& root) {
  if (!root.empty()) return LinkWalk(root).linked(path);
  // A path inside an inspected root stays there, although the caller named none.
  const std::string known = RootedPath::of(path, true).prefix();
  if (!known.empty()) return LinkWalk(known).linked(path);
  std::string result;
  if (getRealPath(root, path, result)) return result;
  error_output(1, __func__, __LINE__, "get real path failed basepath is %s, path is  %s",
               root.c_str(), path.c_str());
  return path;
}

bool PathUtils::findPrefixPath(const std::string& path, const std::string& prefix) {
  if (path.empty() || prefix.empty()) return false;
  const std::string start = collapseSlashes(prefix);
  return collapseSlashes(path).compare(0, start.size(), start) == 0;
}

std::string PathUtils::addPrefixPath(const std::string& prefix, const std::string& path) {
  std::string front = collapseSlashes(prefix);
  const std::string back = collapseSlashes(path);
  if (front.empty() || back.empty()) return front + back;
  const bool slashBefore = front.back() == '/';
  const bool slashBehind = back.front() == '/';
  if (slashBefore && slashBehind) front.pop_back();
  if (!slashBefore && !slashBehind) front += '/';
  return front + back;
}

std::string PathUtils::dropPrefixPath(const std::string& prefix, const std::string& path) {
  const std::string front = collapseSlashes(prefix);
  const std::string whole = collapseSlashes(path);
  if (!findPrefixPath(whole, front)) return whole;
  const std::size_t length = front.back() == '/' ? front.size() - 1 : front.size();
  return whole.substr(std::min(length, whole.size()));
}

std::string PathUtils::getSimplePath(const std::string& path) {
  const std::string text = StringUtils::replaceAllStr(collapseSlashes(path), "/./", "/");
  std::vector<std::string> kept;
  for (const std::string& piece : pathPieces(text)) {
    if (piece == ".") continue;
    if (piece != "..") {
      kept.push_back(piece);
    } else if (!kept.empty()) {
      kept.pop_back();
    }
  }
  if (kept.empty()) return text;
  return joinPieces(kept);
}

std::set<std::string> PathUtils::delDuplicatedPath(std::vector<std::string>& paths,
                                                   const std::string& excluded) {
  std::set<std::string> result;
  for (const std::string& path : paths) {
    std::string simple = getSimplePath(path);
    if (simple.empty() || simple == "/" || simple == "//" || simple == excluded) continue;
    result.insert(std::move(simple));
  }
  return result;
}

std::string PathUtils::getFileDirPath(const char* path) {
  if (path == nullptr) return "";
  std::string copy(path, strnlen(path, kPathBytes - 1));
  return ::dirname(copy.data());
}

int PathUtils::createDir(const char* path, int mode) {
  if (path == nullptr) return -1;
  const mode_t bits = static_cast<mode_t>(mode);
  if (isDirectoryOfOurs(path) || ::mkdir(path, bits) == 0) return 0;
  if (errno != ENOENT) return errno == EEXIST ? 0 : -1;
  const std::string whole(path, strnlen(path, kPathBytes - 1));
  if (!createParents(whole, bits)) return -1;
  ::mkdir(whole.c_str(), bits);
  return ::access(whole.c_str(), F_OK) == 0 ? 0 : -1;
}

std::string getFullPath(std::string& path) {
  const char* libraryPath = ::getenv("LD_LIBRARY_PATH");
  error_output(2, __func__, __LINE__, "LD_LIBRARY_PATH %s",
               libraryPath != nullptr ? libraryPath : "");
  const std::string resolved = resolvedOnHost(path);
  if (!resolved.empty() || path.empty() || errno != ENOENT) return resolved;
  std::string copy = path;
  const std::string directory = resolvedOnHost(::dirname(copy.data()));
  copy = path;
  const std::string name = ::basename(copy.data());
  if (directory.empty() || name == "." || name == "..") return "";
  const std::string full = PathUtils::addPrefixPath(directory, name);
  return full.size() < kPathBytes ? full : "";
}

}  // namespace LedgoraCollect
