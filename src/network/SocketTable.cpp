#include "network/SocketTable.h"

#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace LedgoraCollect {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{64} << 10;
// 1.7 million sockets. The table of an inspected root may be a sparse file of
// any size.
constexpr std::size_t kMaximumTableBytes = std::size_t{256} << 20;
// The proc file system gives about a page (4 KiB or more) at a time as long as
// there are sockets, so after less than this there are none. To read once more
// only to be told so makes the kernel walk all its sockets again, those of
// every network namespace, which takes milliseconds.
constexpr std::size_t kLastPieceBytes = 2048;

bool isOfProc(int descriptor) {
  struct statfs status {};
  return ::fstatfs(descriptor, &status) == 0 && status.f_type == PROC_SUPER_MAGIC;
}

}  // namespace

SocketTable::SocketTable(FileHandle stream)
    : mStream(std::move(stream)),
      mDescriptor(::fileno(mStream.get())),
      mLastPieceBytes(isOfProc(mDescriptor) ? kLastPieceBytes : 1),
      mBuffer(kBufferBytes) {}

bool SocketTable::skipHeading() { return readLine(); }

char* SocketTable::nextLine() {
  while (readLine()) {
    if (!isWhole()) continue;
    mLine[mLength - 1] = '\0';
    return mLine.data();
  }
  return nullptr;
}

// Reads up to a line feed. Of a line that doesn't fit, the rest is passed over
// with it: its last piece must not be taken for a line.
bool SocketTable::readLine() {
  mLength = 0;
  while (mNext < mFilled || fillBuffer()) {
    const char character = mBuffer[mNext++];
    if (mLength < mLine.size()) mLine[mLength] = character;
    ++mLength;
    if (character == '\n') return true;
  }
  return mLength > 0;
}

bool SocketTable::fillBuffer() {
  if (mEnded || mTotal >= kMaximumTableBytes) return false;
  ssize_t length = 0;
  do {
    length = ::read(mDescriptor, mBuffer.data(), mBuffer.size());
  } while (length < 0 && errno == EINTR);
  mNext = 0;
  mFilled = length > 0 ? static_cast<std::size_t>(length) : 0;
  mTotal += mFilled;
  mEnded = mFilled < mLastPieceBytes;
  return mFilled > 0;
}

bool SocketTable::isWhole() const {
  return mLength > 1 && mLength < mLine.size() && mLine[mLength - 1] == '\n' &&
         std::memchr(mLine.data(), '\0', mLength) == nullptr;
}

}  // namespace LedgoraCollect
