#pragma once

#include <string>
#include <vector>

#include "common/support/Handles.h"

namespace LedgoraCollect {

/// What a resolution inside a root allows.
enum class RootRule {
  InRoot,    ///< links lead inside the root, as after chroot
  Beneath,   ///< EXDEV where a link is absolute or ".." climbs over the root
  Linkless,  ///< as Beneath, and ELOOP at any link but a last one that isn't followed
};

/// Resolves a path inside a root by itself, one component at a time, each opened with O_PATH
/// and O_NOFOLLOW from the directory before it. A link's text is read from the opened link and
/// ".." goes back by the names walked, so no change meanwhile can lead out of the root.
class RootWalk {
 public:
  /// `root` must stay open during the walk.
  RootWalk(int root, RootRule rule, bool followLast);

  /// Walks `rest`, which is relative to the root. Returns false with errno.
  bool walk(const std::string& rest);

  /// After a walk: the object reached, opened with O_PATH.
  FileDescriptor takeReached() { return std::move(mHere); }
  /// After a walk, also a failed one: the names walked, none of them a link, then what was
  /// left when something was missing. Begins with "/", unless nothing was walked.
  std::string text() const;

 private:
  bool step(const std::string& name);
  bool enter(const std::string& name);
  bool follow(const FileDescriptor& link);
  bool climb();
  bool backToRoot();
  bool isLinkToFollow(int descriptor, bool& isLink) const;
  void pushPending(const std::string& path);

  int mRoot;
  RootRule mRule;
  bool mFollowLast;
  int mLinks = 0;
  int mSteps = 0;
  FileDescriptor mHere;
  std::vector<std::string> mNames;
  std::vector<std::string> mPending;  // the next component last
};

}  // namespace LedgoraCollect
