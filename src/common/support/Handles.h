#pragma once

#include <cjson/cJSON.h>
#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace LedgoraCollect {

/// Deleter that calls one C release function.
template <auto Release>
struct Releaser {
  template <class T>
  void operator()(T* handle) const noexcept {
    Release(handle);
  }
};

using FileHandle = std::unique_ptr<FILE, Releaser<std::fclose>>;
using DirHandle = std::unique_ptr<DIR, Releaser<closedir>>;
using JsonHandle = std::unique_ptr<cJSON, Releaser<cJSON_Delete>>;
/// Text that came from malloc: a printed document, a deciphered file.
using MallocText = std::unique_ptr<char, Releaser<std::free>>;

/// Owner of a file descriptor; -1 owns nothing.
class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  explicit FileDescriptor(int descriptor) noexcept : mDescriptor(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : mDescriptor(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { reset(); }

  int get() const noexcept { return mDescriptor; }
  explicit operator bool() const noexcept { return mDescriptor >= 0; }
  int release() noexcept { return std::exchange(mDescriptor, -1); }
  void reset(int descriptor = -1) noexcept {
    if (mDescriptor >= 0) ::close(mDescriptor);
    mDescriptor = descriptor;
  }

 private:
  int mDescriptor = -1;
};

}  // namespace LedgoraCollect
