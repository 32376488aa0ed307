#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace LedgoraCollect {

/// The size of one file system, in blocks.
struct FileSystemSize_S {
  bool known = false;  // false: the question failed or wasn't answered in time
  std::uint64_t blockBytes = 0;
  std::uint64_t blocks = 0;
  std::uint64_t freeBlocks = 0;
};

/// Asks for the size of the file system at each of `mountPaths`, which the
/// system with the root `env` (empty: this host) knows by these paths.
///
/// The questions are asked by helper processes, because one to a network or
/// FUSE file system whose server is gone holds up its asker for good. All such
/// file systems together delay the call by at most two seconds and have no
/// size then. The helpers are ended; one that hangs in the kernel is logged
/// and left to end when it can.
std::vector<FileSystemSize_S> askFileSystemSizes(const std::string& env,
                                                 const std::vector<std::string>& mountPaths);

}  // namespace LedgoraCollect
