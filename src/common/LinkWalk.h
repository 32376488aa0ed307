#pragma once

#include <sys/stat.h>

#include <string>

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

 private:
  bool look(const std::string& path, struct stat& status) const;
  bool readLink(const std::string& path, std::string& text) const;
  std::string keptInside(const std::string& path) const;

  std::string mRoot;
};

}  // namespace LedgoraCollect
