#include "common/support/BoundedString.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace LedgoraCollect {

int str_snprintf(char* buffer, std::size_t size, const char* format, ...) {
  if (buffer == nullptr || size == 0) return -1;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  if (length < 0) buffer[0] = '\0';
  return length;
}

std::size_t str_strlcpy(char* destination, const char* source, std::size_t size) {
  const std::size_t length = std::strlen(source);
  if (size == 0) return length;
  const std::size_t copied = std::min(length, size - 1);
  std::memcpy(destination, source, copied);
  destination[copied] = '\0';
  return length;
}

}  // namespace LedgoraCollect
