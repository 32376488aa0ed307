#pragma once

#include <cstddef>
#include <string>

namespace LedgoraCollect {

/// Expands the notation "@/": "@" is the directory of the running program
/// file, links resolved (/proc/self/exe). ".." stays in the result. Any other
/// path is copied. `out` of `size` bytes is always terminated; a result that
/// doesn't fit, or an unknown program directory, gives an empty text and a
/// message.
void dirutils_path_transform(const char* in, char* out, std::size_t size);

/// The same as a string; empty on failure.
std::string installPath(const char* in);

/// Makes the directory `path` and its missing parents with `mode`. 0 if the
/// directory exists afterwards; -1 with errno set otherwise (a file that is no
/// directory is in the way, no permission, empty path).
int dirutils_mkdir(const char* path, int mode);

}  // namespace LedgoraCollect
