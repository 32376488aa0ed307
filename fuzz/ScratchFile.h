#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <string>

/// A file in memory for code that opens its input by name.
class ScratchFile {
 public:
  ScratchFile() : mFile(::memfd_create("fuzz", 0)) {
    if (mFile < 0) std::abort();
    mPath = "/proc/self/fd/" + std::to_string(mFile);
  }

  void write(const unsigned char* data, std::size_t size) {
    if (::ftruncate(mFile, 0) != 0) std::abort();
    if (::pwrite(mFile, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
  }

  const char* path() const { return mPath.c_str(); }

 private:
  int mFile;
  std::string mPath;
};
