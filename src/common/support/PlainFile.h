#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <string>

#include "common/support/Handles.h"

namespace LedgoraCollect {

/// fopen whose descriptor is closed on exec. Only regular files (those of the
/// proc and sys file systems included) are opened for reading, never outside
/// the inspected root that the path lies in; a fifo, socket or device counts
/// as unreadable and holds nobody up. A file made for writing gets mode 0640 at
/// most. Null with errno set on failure. The
/// caller closes the stream with fclose.
FILE* utf8_fopen(const char* path, const char* mode);

/// Non-zero if something exists at `path` (links followed).
int is_file_exist(const char* path);

/// A regular file opened for reading; empty with errno set if `path` can't be
/// opened or is anything else. Of a path below an inspected root nothing
/// outside that root is opened.
FileDescriptor openRegularFile(const char* path);

/// How readRegularFile ended.
enum class FileRead { Whole, Missing, TooLarge, Failed };

/// Reads the rest of `descriptor`, at most `limit` bytes, into `out`.
FileRead readDescriptor(int descriptor, std::size_t limit, std::string& out);

/// Reads a regular file of at most `limit` bytes whole into `out`. Logs
/// nothing; errno tells the reason of Failed.
FileRead readRegularFile(const char* path, std::size_t limit, std::string& out);

/// Reads `length` bytes at `offset`, fewer at the file's end. The number
/// read, or -1 with errno set.
ssize_t readAt(int descriptor, void* buffer, std::size_t length, off_t offset);

}  // namespace LedgoraCollect
