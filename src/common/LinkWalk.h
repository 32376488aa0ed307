#pragma once

#include <string>

#include "common/RootedPath.h"

namespace LedgoraCollect {

/// Follows links below a root as text, so that the result keeps the form that consumers
/// compare, and never leaves the root while it looks.
class LinkWalk {
 public:
  explicit LinkWalk(const std::string& root) : mRoot(root) {}

  /// One chain of links: see PathUtils::getEndLinkPath.
  bool endLink(const std::string& path, std::string& out, int depth) const;
  /// All components: see PathUtils::getLinkedPath. The root isn't empty.
  std::string linked(const std::string& path) const;

  /// The path to which a place leads inside its root, with the root's text in front. `given`
  /// if it leads nowhere: round in a circle, or through a link of the proc file system.
  static std::string resolved(const RootedPath& place, const std::string& given);

 private:
  bool endLinkInRoot(const RootedPath& place, const std::string& path, std::string& out,
                     int depth) const;
  std::string linkedOnHost(const std::string& path) const;

  std::string mRoot;
};

}  // namespace LedgoraCollect
