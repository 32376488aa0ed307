#include "common/support/PlainFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/InspectedRoot.h"

namespace LedgoraCollect {
namespace {

// What a run finds out is for its owner and group; a file that is there
// already keeps its mode.
constexpr mode_t kNewFileMode = 0640;
constexpr std::size_t kFirstReadBytes = 16 * 1024;

bool isPlainRead(const char* mode) { return mode[0] == 'r' && std::strchr(mode, '+') == nullptr; }

bool isPlainWrite(const char* mode) { return mode[0] == 'w' && std::strchr(mode, '+') == nullptr; }

/// Room for the whole file, if its stated size is true; files of the proc
/// file system state 0.
std::size_t expectedBytes(int descriptor, std::size_t limit) {
  struct stat info {};
  if (::fstat(descriptor, &info) != 0 || info.st_size <= 0) return kFirstReadBytes;
  return std::min(limit, static_cast<std::size_t>(info.st_size)) + 1;
}

/// Makes or empties the file. A fifo or socket would hold the writer up for as
/// long as its reader likes, so it is refused, without waiting for a reader.
FileDescriptor openForWriting(const char* path) {
  FileDescriptor file(
      ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, kNewFileMode));
  struct stat info {};
  if (file && (::fstat(file.get(), &info) != 0 || S_ISFIFO(info.st_mode))) {
    file.reset();
    errno = ENXIO;
  }
  if (file) ::fcntl(file.get(), F_SETFL, 0);
  return file;
}

}  // namespace

FILE* utf8_fopen(const char* path, const char* mode) {
  FileDescriptor file;
  if (isPlainRead(mode)) {
    file = openRegularFile(path);
  } else if (isPlainWrite(mode)) {
    file = openForWriting(path);
  } else {
    return std::fopen(path, (std::string(mode) + "e").c_str());
  }
  if (!file) return nullptr;
  FILE* const stream = ::fdopen(file.get(), mode);
  if (stream != nullptr) file.release();
  return stream;
}

int is_file_exist(const char* path) { return existsInspected(path) ? 1 : 0; }

FileDescriptor openRegularFile(const char* path) { return openInspected(path, O_RDONLY); }

FileRead readDescriptor(int descriptor, std::size_t limit, std::string& out) {
  out.clear();
  std::size_t used = 0;
  out.resize(expectedBytes(descriptor, limit));
  for (;;) {
    if (used == out.size()) out.resize(std::min(limit + 1, used * 2));
    const ssize_t count = ::read(descriptor, &out[used], out.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      out.clear();
      return FileRead::Failed;
    }
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
    if (used > limit) {
      out.clear();
      out.shrink_to_fit();
      return FileRead::TooLarge;
    }
  }
  out.resize(used);
  return FileRead::Whole;
}

FileRead readRegularFile(const char* path, std::size_t limit, std::string& out) {
  const FileDescriptor file = openRegularFile(path);
  if (!file) {
    out.clear();
    return errno == ENOENT || errno == ENOTDIR ? FileRead::Missing : FileRead::Failed;
  }
  struct stat info {};
  if (::fstat(file.get(), &info) == 0 && info.st_size > static_cast<off_t>(limit)) {
    out.clear();
    return FileRead::TooLarge;
  }
  return readDescriptor(file.get(), limit, out);
}

ssize_t readAt(int descriptor, void* buffer, std::size_t length, off_t offset) {
  std::size_t used = 0;
  while (used < length) {
    const ssize_t count = ::pread(descriptor, static_cast<char*>(buffer) + used, length - used,
                                  offset + static_cast<off_t>(used));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(used);
}

}  // namespace LedgoraCollect
