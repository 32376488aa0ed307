// The expression wrappers that read files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "common/InspectedRoot.h"
#include "common/RegexUtils.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

constexpr off_t kMaxFileBytes = 0x1400000;

bool readBytes(int descriptor, char* buffer, std::size_t size) {
  std::size_t total = 0;
  while (total < size) {
    const ssize_t count = ::read(descriptor, buffer + total, size - total);
    if (count == 0 || (count < 0 && errno == EAGAIN)) break;
    if (count < 0 && errno != EINTR) return false;
    total += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  return true;
}

FileDescriptor openForSearch(const std::string& path, struct stat& status) {
  constexpr const char* kFunction = "regexMatchFileContent";
  const FileDescriptor object = openInspected(path, O_PATH);
  if (!object) {
    error_output(0, kFunction, __LINE__, "filePath is error.");
    return FileDescriptor();
  }
  if (fstat(object.get(), &status) != 0) {
    error_output(0, kFunction, __LINE__, "file %s stat failed!", path.c_str());
    return FileDescriptor();
  }
  FileDescriptor file = reopenInspected(object);
  if (!file) error_output(0, kFunction, __LINE__, "file %s open failed!", path.c_str());
  return file;
}

}  // namespace

bool regexMatchFileContent(std::string& path, std::string& expression, std::string& result) {
  if (path.empty() || expression.empty()) {
    error_output(0, __func__, __LINE__, "filePath or regex is null.");
    return false;
  }
  struct stat status {};
  const FileDescriptor file = openForSearch(path, status);
  if (!file) return false;
  // The size decides, so a proc file, whose size reads 0, holds nothing here.
  const auto size = static_cast<std::size_t>(std::min(status.st_size, kMaxFileBytes));
  const MallocText buffer(static_cast<char*>(std::calloc(size + 1, 1)));
  if (!buffer) {
    error_output(0, __func__, __LINE__, "file %s size %ld, malloc failed !", path.c_str(),
                 static_cast<long>(size));
    return false;
  }
  if (!readBytes(file.get(), buffer.get(), size)) {
    error_output(0, __func__, __LINE__, "file %s read failed!", path.c_str());
    return false;
  }
  std::string content(buffer.get());
  return regex_interface(content, result, expression);
}

std::string findFileValueByRegex(std::vector<std::string>& paths, const char* expression) {
  std::string result;
  if (expression == nullptr) return result;
  std::string text = expression;
  for (std::string& path : paths) {
    if (regexMatchFileContent(path, text, result)) break;
  }
  return result;
}

}  // namespace LedgoraCollect
