#pragma once

#include <minizip/ioapi.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "common/support/Handles.h"

namespace LedgoraCollect {

/// The bytes of one archive for the archive library, which reads heads byte
/// by byte and seeks between them: both happen in a buffer here. The number
/// of its steps is bounded, so that no crafted directory can hold a run up
/// for longer than a second or two; beyond the bound reads fail.
class ZipSource {
 public:
  explicit ZipSource(FileDescriptor file);

  /// The library's operations over a source that it is given as its "name",
  /// and which it owns from its open to its close.
  static zlib_filefunc64_def functions();

  std::size_t read(char* out, std::size_t size);
  bool seek(std::uint64_t offset, int origin);
  std::uint64_t position() const { return mPosition; }
  bool failed() const { return mFailed; }

 private:
  bool fill();

  FileDescriptor mFile;
  std::uint64_t mSizeBytes = 0;
  std::uint64_t mPosition = 0;
  std::uint64_t mBufferAt = 0;
  std::size_t mBuffered = 0;
  std::uint64_t mStepsLeft;
  bool mFailed = false;
  std::unique_ptr<char[]> mBuffer;
};

}  // namespace LedgoraCollect
