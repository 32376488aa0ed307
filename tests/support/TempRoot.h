#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

namespace LedgoraTest {

/// A directory tree that a test builds and that goes with it. Paths are
/// relative to the tree (a leading "/" is dropped); missing directories are
/// made. What can't be built throws, so that no test runs on half a tree.
/// Removing never reaches into what is mounted in the tree.
class TempRoot {
 public:
  TempRoot();
  ~TempRoot();
  TempRoot(const TempRoot&) = delete;
  TempRoot& operator=(const TempRoot&) = delete;

  /// The tree's own absolute path, free of links, without a trailing slash.
  const std::string& path() const { return mPath; }
  /// The absolute path of something in the tree.
  std::string path(std::string_view relative) const;

  TempRoot& dir(std::string_view relative, mode_t mode = 0755);
  TempRoot& file(std::string_view relative, std::string_view content = {}, mode_t mode = 0644);
  /// A symbolic link; `target` is written as it stands.
  TempRoot& link(std::string_view relative, std::string_view target);
  TempRoot& fifo(std::string_view relative, mode_t mode = 0644);
  /// A copy of a file of this machine, with its mode.
  TempRoot& copy(std::string_view relative, const std::string& source);
  TempRoot& modified(std::string_view relative, long secondsSinceEpoch);

  std::string read(std::string_view relative) const;
  bool exists(std::string_view relative) const;
  void remove(std::string_view relative);

 private:
  std::string prepared(std::string_view relative) const;
  std::string mPath;
};

/// The content of a file, empty if it can't be read.
std::string readWhole(const std::string& path);

}  // namespace LedgoraTest
