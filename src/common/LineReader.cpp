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
  constexpr std::size_t kChunk = 64 * 1024;
  mOverLimit = mTotal >= kMaxBytes;
  if (mOverLimit) return false;
  mPosition = 0;
  mBuffer.resize(kChunk);
  ssize_t count = 0;
  do {
    count = ::read(mDescriptor, mBuffer.data(), kChunk);
  } while (count < 0 && errno == EINTR);
  mBuffer.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  mTotal += mBuffer.size();
  return !mBuffer.empty();
}

}  // namespace LedgoraCollect
