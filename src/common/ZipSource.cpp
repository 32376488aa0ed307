#include "common/ZipSource.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "common/support/PlainFile.h"

namespace LedgoraCollect {
namespace {

constexpr std::size_t kBufferBytes = 16 * 1024;
// Some ten million steps walk an archive of 100,000 entries.
constexpr std::uint64_t kMostSteps = 150'000'000;

ZipSource* source(voidpf stream) { return static_cast<ZipSource*>(stream); }

// The archive library's callbacks.
voidpf openSource(voidpf, const void* name, int) { return const_cast<void*>(name); }

uLong readSource(voidpf, voidpf stream, void* out, uLong size) {
  return static_cast<uLong>(source(stream)->read(static_cast<char*>(out), size));
}

uLong writeNothing(voidpf, voidpf, const void*, uLong) { return 0; }

ZPOS64_T tellSource(voidpf, voidpf stream) { return source(stream)->position(); }

long seekSource(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
  return source(stream)->seek(offset, origin) ? 0 : -1;
}

int closeSource(voidpf, voidpf stream) {
  delete source(stream);
  return 0;
}

int sourceFailed(voidpf, voidpf stream) { return source(stream)->failed() ? 1 : 0; }

}  // namespace

ZipSource::ZipSource(FileDescriptor file)
    : mFile(std::move(file)),
      mStepsLeft(kMostSteps),
      mBuffer(std::make_unique<char[]>(kBufferBytes)) {
  struct stat info {};
  if (::fstat(mFile.get(), &info) == 0 && info.st_size > 0) {
    mSizeBytes = static_cast<std::uint64_t>(info.st_size);
  }
}

zlib_filefunc64_def ZipSource::functions() {
  return {openSource, readSource,  writeNothing, tellSource,
          seekSource, closeSource, sourceFailed, nullptr};
}

/// Makes the buffer hold what stands at the position. False at the end, after
/// a failed read and when the steps are used up.
bool ZipSource::fill() {
  if (mPosition >= mBufferAt && mPosition - mBufferAt < mBuffered) return true;
  if (mPosition >= mSizeBytes) return false;
  const ssize_t count =
      readAt(mFile.get(), mBuffer.get(), kBufferBytes, static_cast<off_t>(mPosition));
  mFailed = mFailed || count < 0;
  mBufferAt = mPosition;
  mBuffered = count > 0 ? static_cast<std::size_t>(count) : 0;
  return mBuffered > 0;
}

std::size_t ZipSource::read(char* out, std::size_t size) {
  if (mStepsLeft == 0) mFailed = true;
  if (mFailed) return 0;
  --mStepsLeft;
  std::size_t used = 0;
  while (used < size && fill()) {
    const auto at = static_cast<std::size_t>(mPosition - mBufferAt);
    const std::size_t part = std::min(size - used, mBuffered - at);
    std::memcpy(out + used, mBuffer.get() + at, part);
    used += part;
    mPosition += part;
  }
  return used;
}

bool ZipSource::seek(std::uint64_t offset, int origin) {
  if (mStepsLeft == 0 || mFailed) return false;
  --mStepsLeft;
  // Modulo 2^64, as the library passes negative distances.
  std::uint64_t target = offset;
  if (origin == ZLIB_FILEFUNC_SEEK_CUR) target += mPosition;
  if (origin == ZLIB_FILEFUNC_SEEK_END) target += mSizeBytes;
  if (target > INT64_MAX) return false;
  mPosition = target;
  return true;
}

}  // namespace LedgoraCollect
