#pragma once

#include <set>
#include <string>
#include <vector>

namespace LedgoraCollect {

/// Questions about paths, and their joining, stripping and resolving below a root prefix. What
/// asks the file system stays inside the inspected root of its path (see InspectedRoot.h).
class PathUtils {
 public:
  /// The link itself counts: a dangling link exists.
  static bool isExist(const std::string& path);
  /// True for a directory; false for a link to one.
  static bool isDir(const std::string& path);
  static bool isSlink(const std::string& path);
  /// Sets `out` to a link's text. Returns false if there is none.
  static bool getLinkPath(const std::string& path, std::string& out);

  /// Follows one chain of links, ten at most. An absolute target gets `root` in front; a
  /// relative one is appended to the path of the link itself, whose name stays ("/a/link" with
  /// the target "../b" gives "/a/link/../b"). A text that would lead out of `root` is replaced
  /// by the path to which the name leads inside. Returns false, with `out` at the last path,
  /// when something in the chain is missing.
  static bool getEndLinkPath(const std::string& path, const std::string& root, std::string& out,
                             int depth);

  /// True if a component is "." or ".." or a link: the path may lead elsewhere.
  static bool hasSlinkPath(const std::string& path);

  /// realpath of a path of the host, or of the root that the process has entered. Returns
  /// false (level 0) if it doesn't resolve.
  static bool realPath(const std::string& path, std::string& out);

  /// realPath of `path` as it resolves inside `root`; without a prefix in the result.
  static bool getRealPath(const std::string& root, const std::string& path, std::string& out);

  /// Resolves `path`, which has `root` in front, piece by piece with getEndLinkPath. Where
  /// that gives up or would lead out of `root`, the result is the path to which the name leads
  /// inside the root; what is missing there stays missing. The prefix keeps its own text.
  static std::string getLinkedPath(const std::string& path, const std::string& root);

  /// Plain test of text, runs of slashes collapsed: "/rootfs2/x" has the prefix "/rootfs".
  static bool findPrefixPath(const std::string& path, const std::string& prefix);
  /// Both joined with exactly one slash at the seam, runs of slashes collapsed.
  static std::string addPrefixPath(const std::string& prefix, const std::string& path);
  /// `path` without `prefix`, runs of slashes collapsed: "/rootfs/etc" becomes "/etc".
  static std::string dropPrefixPath(const std::string& prefix, const std::string& path);
  /// Folds "//", "." and ".." as text. A relative path comes out absolute in form.
  static std::string getSimplePath(const std::string& path);
  /// The simple paths, sorted, each once, without "/" and `excluded`.
  static std::set<std::string> delDuplicatedPath(std::vector<std::string>& paths,
                                                 const std::string& excluded);
  /// dirname of the first 4095 characters; empty for a null path.
  static std::string getFileDirPath(const char* path);
  /// Makes a directory of the tool's own with its parents. Returns 0, or -1 on failure.
  static int createDir(const char* path, int mode);
};

/// The absolute path, links resolved, of a file of the tool's own. Of a file that doesn't
/// exist yet the directory is resolved. What can't be resolved gives the empty string.
std::string getFullPath(std::string& path);

}  // namespace LedgoraCollect
