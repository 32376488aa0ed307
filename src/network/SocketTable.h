#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "common/support/Handles.h"

namespace LedgoraCollect {

/// The lines of an open socket table, in bounded memory. A line that is empty,
/// isn't ended by a line feed, doesn't fit the buffer (255 characters or
/// more) or holds a zero byte isn't given. The stream must be one of a
/// descriptor, from which nothing was read yet.
class SocketTable {
 public:
  explicit SocketTable(FileHandle stream);

  /// Passes over the heading. False if there is nothing to read.
  bool skipHeading();
  /// The next line, its line feed replaced by a zero byte; null at the end. It
  /// may be written to and is valid until the next call.
  char* nextLine();
  /// Characters of that line, its line feed counted.
  int length() const { return static_cast<int>(mLength); }

 private:
  bool readLine();
  bool fillBuffer();
  bool isWhole() const;

  FileHandle mStream;
  int mDescriptor;
  std::size_t mLastPieceBytes;  // a piece that is smaller is the last one
  std::vector<char> mBuffer;
  std::size_t mNext = 0;
  std::size_t mFilled = 0;
  bool mEnded = false;
  std::array<char, 256> mLine{};
  std::size_t mLength = 0;
  std::size_t mTotal = 0;
};

}  // namespace LedgoraCollect
