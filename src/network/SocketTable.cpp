#include "network/SocketTable.h"

#include <cstdio>
#include <cstring>
#include <utility>

namespace LedgoraCollect {
namespace {

// The C library would read tables of the proc file system in pieces of 1 KiB.
constexpr std::size_t kStreamBytes = 64 * 1024;
// 1.7 million sockets. The table of an inspected root may be a sparse file of
// any size.
constexpr std::size_t kMaximumTableBytes = std::size_t{256} << 20;

}  // namespace

SocketTable::SocketTable(FileHandle stream)
    : mStreamBuffer(kStreamBytes), mStream(std::move(stream)) {
  std::setvbuf(mStream.get(), mStreamBuffer.data(), _IOFBF, mStreamBuffer.size());
}

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
  int character = 0;
  while (mTotal < kMaximumTableBytes && (character = ::getc_unlocked(mStream.get())) != EOF) {
    ++mTotal;
    if (mLength < mLine.size()) mLine[mLength] = static_cast<char>(character);
    ++mLength;
    if (character == '\n') return true;
  }
  return mLength > 0;
}

bool SocketTable::isWhole() const {
  return mLength > 1 && mLength < mLine.size() && mLine[mLength - 1] == '\n' &&
         std::memchr(mLine.data(), '\0', mLength) == nullptr;
}

}  // namespace LedgoraCollect
