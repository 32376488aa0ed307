#pragma once

#include <string>

#include "common/support/Handles.h"

namespace LedgoraCollect {

/// A path cut into the inspected root that it belongs to and the rest behind it. The root is
/// found from the text: the longest of a container's root "<environment>/proc/<pid>/root", the
/// environment, or a root that the caller names.
class RootedPath {
 public:
  /// Of the roots that are known. A root's own name belongs to what holds it, unless
  /// `followLast` or a slash at its end asks for the root itself.
  static RootedPath of(const std::string& path, bool followLast);
  /// Of these and `root`, whose name in `path` is `root`'s text.
  static RootedPath under(const std::string& root, const std::string& path, bool followLast);

  static void setEnvironment(const std::string& environment);
  static const std::string& environment();

  /// The path lies in no inspected root.
  bool onHost() const { return mOnHost; }
  /// The root, opened with O_PATH; -1 if it couldn't be, and errno then tells why.
  int root() const { return mRoot.get(); }
  /// The root's text as it stands in the path, without a slash at its end.
  const std::string& prefix() const { return mPrefix; }
  const std::string& rest() const { return mRest; }

 private:
  void cut(const std::string& path, std::size_t end);

  bool mOnHost = true;
  FileDescriptor mRoot;
  std::string mPrefix;
  std::string mRest;
};

}  // namespace LedgoraCollect
