#pragma once

#include <cstddef>

namespace LedgoraCollect {

/// Formats into `buffer` of `size` bytes as snprintf does and always
/// terminates it. Returns the length that the whole text has (which may be
/// `size` or more: then it was cut), or a negative number on failure (no
/// buffer, no room for the terminator, a conversion that failed), with an
/// empty text where there is room for one.
int str_snprintf(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// Copies at most `size` bytes of `source`, the terminator included, and
/// always terminates. Returns the length of `source`.
std::size_t str_strlcpy(char* destination, const char* source, std::size_t size);

}  // namespace LedgoraCollect
