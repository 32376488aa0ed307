#include "common/LineReader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace LedgoraCollect {

bool LineReader::next(std::string& line) {
  line.clear();
  bool some = false;
  while (!mOverLimit && (mPosition < mBuffer.size() || fill())) {
    some = true;
    const std::size_t feed = mBuffer.find('\n', mPosition);
    const std::size_t end = std::min(feed, mBuffer.size());
    line.append(mBuffer, mPosition, end - mPosition);
    mPosition = std::min(end + 1, mBuffer.size());
    if (feed != std::string::npos) return true;
    mOverLimit = line.size() > kMaxLineBytes;
  }
  return some && !mOverLimit;
}

bool LineReader::fill() {
  // Shared by all readers and copied out of at once: no reader zeroes one of its own.
  static char chunk[64 * 1024];
  mOverLimit = mTotal >= kMaxBytes;
  if (mOverLimit) return false;
  mPosition = 0;
  ssize_t count = 0;
  do {
    count = ::read(mDescriptor, chunk, sizeof chunk);
  } while (count < 0 && errno == EINTR);
  mBuffer.assign(chunk, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  mTotal += mBuffer.size();
  return !mBuffer.empty();
}

}  // namespace LedgoraCollect
