#pragma once

#include <cstddef>
#include <string>

namespace LedgoraCollect {

/// Lines of an open file, as std::getline gives them, in bounded memory: what an inspected
/// root holds may be a sparse file of any size, or one that never ends.
class LineReader {
 public:
  /// No line of a file that is worth reading is as long as this (20 MiB)...
  static constexpr std::size_t kMaxLineBytes = 0x1400000;
  /// ...and no such file is as large as this (1 GiB).
  static constexpr std::size_t kMaxBytes = std::size_t{1} << 30;

  /// The descriptor stays the caller's.
  explicit LineReader(int descriptor) : mDescriptor(descriptor) {}

  /// Sets `line` to the next line without its line feed. False at the end, at a read that
  /// failed or would block, and where a limit is exceeded.
  bool next(std::string& line);
  bool overLimit() const { return mOverLimit; }

 private:
  bool fill();

  int mDescriptor;
  std::string mBuffer;
  std::size_t mPosition = 0;
  std::size_t mTotal = 0;
  bool mOverLimit = false;
};

}  // namespace LedgoraCollect
