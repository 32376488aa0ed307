#include "common/RootWalk.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <cerrno>
#include <climits>

#include "common/PathPieces.h"

namespace LedgoraCollect {

namespace {

// The kernel's own limit on links in one resolution.
constexpr int kMaxLinks = 40;
// Forty links of two thousand ".." each would otherwise cost millions of calls.
constexpr int kMaxSteps = 20000;
constexpr ino_t kProcRootInode = 1;

bool fail(int error) {
  errno = error;
  return false;
}

bool readLink(int link, std::string& text) {
  char buffer[PATH_MAX];
  const ssize_t length = readlinkat(link, "", buffer, sizeof buffer);
  if (length < 0) return false;
  if (length == 0) return fail(ENOENT);
  text.assign(buffer, static_cast<std::size_t>(length));
  return true;
}

// The proc file system's links to what a process holds (root, cwd, exe, fd): their text says
// nothing about where they lead. Its few ordinary links are relative or lie at its top.
bool isMagicLink(int link, int directory, const std::string& text) {
  struct statfs fileSystem {};
  if (fstatfs(link, &fileSystem) != 0 || fileSystem.f_type != PROC_SUPER_MAGIC) return false;
  if (text.front() != '/' && text.find(":[") == std::string::npos) return false;
  struct stat status {};
  return fstat(directory, &status) != 0 || status.st_ino != kProcRootInode;
}

}  // namespace

RootWalk::RootWalk(int root, RootRule rule, bool followLast)
    : mRoot(root), mRule(rule), mFollowLast(followLast) {}

bool RootWalk::walk(const std::string& rest) {
  if (!backToRoot()) return false;
  pushPending(rest);
  while (!mPending.empty()) {
    if (++mSteps > kMaxSteps) return fail(ELOOP);
    const std::string name = std::move(mPending.back());
    mPending.pop_back();
    if (!step(name)) {
      const int error = errno;
      mPending.push_back(name);
      mHere.reset();
      return fail(error);
    }
  }
  return true;
}

std::string RootWalk::text() const {
  std::string result = joinPieces(mNames);
  for (auto name = mPending.rbegin(); name != mPending.rend(); ++name) {
    if (*name != ".") result += "/" + *name;
  }
  return result;
}

bool RootWalk::step(const std::string& name) {
  if (name != "." && name != "..") return enter(name);
  struct stat status {};
  if (fstat(mHere.get(), &status) != 0) return false;
  if (!S_ISDIR(status.st_mode)) return fail(ENOTDIR);
  return name == "." || climb();
}

bool RootWalk::enter(const std::string& name) {
  constexpr int kFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  if (!mPending.empty()) {
    // Most components are directories: one call tells.
    FileDescriptor directory(openat(mHere.get(), name.c_str(), kFlags | O_DIRECTORY));
    if (directory) {
      mHere = std::move(directory);
      mNames.push_back(name);
      return true;
    }
    if (errno != ENOTDIR) return false;
  }
  FileDescriptor next(openat(mHere.get(), name.c_str(), kFlags));
  if (!next) return false;
  bool isLink = false;
  if (!isLinkToFollow(next.get(), isLink)) return false;
  if (isLink) return follow(next);
  mHere = std::move(next);
  mNames.push_back(name);
  return true;
}

bool RootWalk::isLinkToFollow(int descriptor, bool& isLink) const {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return false;
  isLink = S_ISLNK(status.st_mode) && (mFollowLast || !mPending.empty());
  return true;
}

bool RootWalk::follow(const FileDescriptor& link) {
  std::string text;
  if (mRule == RootRule::Linkless || ++mLinks > kMaxLinks) return fail(ELOOP);
  if (!readLink(link.get(), text)) return false;
  if (isMagicLink(link.get(), mHere.get(), text)) return fail(ELOOP);
  if (text.front() == '/') {
    if (mRule != RootRule::InRoot) return fail(EXDEV);
    mNames.clear();
    if (!backToRoot()) return false;
  }
  pushPending(text);
  return true;
}

bool RootWalk::climb() {
  if (mNames.empty()) return mRule == RootRule::InRoot || fail(EXDEV);
  // The way back is walked anew by names, none of which was a link: the kernel's own ".."
  // would lead out if the directory had been moved out meanwhile.
  mNames.pop_back();
  if (!backToRoot()) return false;
  for (const std::string& name : mNames) {
    if (++mSteps > kMaxSteps) return fail(ELOOP);
    FileDescriptor next(
        openat(mHere.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC));
    if (!next) return false;
    mHere = std::move(next);
  }
  return true;
}

bool RootWalk::backToRoot() {
  mHere.reset(openat(mRoot, ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  return static_cast<bool>(mHere);
}

void RootWalk::pushPending(const std::string& path) {
  std::vector<std::string> names = pathPieces(path);
  // A slash at the end asks for a directory and follows a last link.
  if (!path.empty() && path.back() == '/') names.emplace_back(".");
  mPending.insert(mPending.end(), names.rbegin(), names.rend());
}

}  // namespace LedgoraCollect
