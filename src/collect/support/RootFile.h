#pragma once

#include <cstddef>
#include <string>

namespace LedgoraCollect {

/// More of a file of lines than this isn't read.
constexpr std::size_t kMaximumTextBytes = std::size_t{64} << 20;

/// Reads the first `maximumBytes` of a file of the inspected system whose root
/// is `env` (empty: this host) and that knows it as `path`. The path is
/// resolved inside its root. Returns false if the file can't be opened as a
/// regular file or not a byte can be read for an error; errno tells why.
bool readRootFile(const std::string& env, const std::string& path, std::size_t maximumBytes,
                  std::string& content);

}  // namespace LedgoraCollect
