#include "common/FileUtils.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "common/InspectedRoot.h"
#include "common/LineReader.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

// Reads up to `maximum` bytes. Returns false if a read failed; one that would block is the end.
bool readUpTo(int descriptor, std::size_t maximum, std::string& content) {
  // Kept, so that the small files of thousands of processes don't each zero a new one.
  static char chunk[64 * 1024];
  while (content.size() < maximum) {
    const ssize_t count =
        ::read(descriptor, chunk, std::min(maximum - content.size(), sizeof chunk));
    content.append(chunk, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count == 0 || (count < 0 && errno == EAGAIN)) return true;
    if (count < 0 && errno != EINTR) return false;
  }
  return true;
}

// Files whose size reads 0 are taken for proc files, whose read errors only end the reading.
bool readProcText(int descriptor, std::size_t maximum, char replacement, std::string& content) {
  readUpTo(descriptor, maximum, content);
  if (replacement != 0) std::replace(content.begin(), content.end(), '\0', replacement);
  return true;
}

// Calls `visit` with each line until it returns true. Returns false if the file can't be
// opened; `ended` tells whether `visit` ended the reading.
template <class Visit>
bool visitLines(const std::string& path, Visit visit, bool& ended) {
  const FileDescriptor file = openInspected(path, O_RDONLY);
  if (!file) {
    error_output(1, "readFileLines", __LINE__, "open filed %s failed", path.c_str());
    return false;
  }
  LineReader reader(file.get());
  std::string line;
  while (!ended && reader.next(line)) ended = visit(line);
  if (reader.overLimit()) {
    error_output(1, "readFileLines", __LINE__, "file %s is too long, the rest is left out",
                 path.c_str());
  }
  return true;
}

template <class Visit>
bool visitEntries(const std::string& directory, Visit visit) {
  if (directory.empty()) {
    error_output(1, "readDirFiles", __LINE__, "dir path is empty");
    return false;
  }
  const DirHandle handle = openInspectedDir(directory);
  if (!handle) {
    error_output(1, "readDirFiles", __LINE__, "open dir: %s failed.", directory.c_str());
    return false;
  }
  const std::string front = directory.back() == '/' ? directory : directory + "/";
  while (const dirent* entry = ::readdir(handle.get())) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string path = front + name;
    struct stat status {};
    if (fstatat(dirfd(handle.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      error_output(1, "readDirFiles", __LINE__, "get path %s stat failed", path.c_str());
      continue;
    }
    if (visit(path)) break;
  }
  return true;
}

}  // namespace

bool FileUtils::readFileContent(const std::string& path, std::string& out, int maximum,
                                char replacement) {
  if (maximum < 1 || path.empty()) {
    error_output(1, __func__, __LINE__, "file %s is not empty", path.c_str());
    return false;
  }
  if (const FileDescriptor text = openProcessText(path)) {
    std::string content;
    readProcText(text.get(), static_cast<std::size_t>(maximum), replacement, content);
    out.append(content, 0, content.find('\0'));
    return true;
  }
  const FileDescriptor object = openInspected(path, O_PATH);
  if (!object) {
    error_output(1, __func__, __LINE__, "file %s is not exit", path.c_str());
    return false;
  }
  struct stat status {};
  if (fstat(object.get(), &status) != 0) {
    error_output(1, __func__, __LINE__, "get file %s stat filed", path.c_str());
    return false;
  }
  const FileDescriptor file = reopenInspected(object);
  if (!file) return false;
  const bool sized = status.st_size >= 1 && status.st_size <= maximum;
  const auto count = static_cast<std::size_t>(sized ? status.st_size : maximum);
  std::string content;
  const bool read = status.st_size != 0 ? readUpTo(file.get(), count, content)
                                        : readProcText(file.get(), count, replacement, content);
  if (!read) return false;
  // Consumers expect text: nothing behind the first zero byte, also of a regular file.
  out.append(content, 0, content.find('\0'));
  return true;
}

bool FileUtils::readFileLines(const std::string& path,
                              bool (*callback)(const std::string& line, std::string& out),
                              std::string& out) {
  if (callback == nullptr) {
    error_output(1, __func__, __LINE__, "callBack is NULL");
    return false;
  }
  bool ended = false;
  const auto visit = [callback, &out](const std::string& line) { return callback(line, out); };
  return visitLines(path, visit, ended) && ended;
}

bool FileUtils::readFileLines(const std::string& path,
                              bool (*callback)(const std::string& line, void* context),
                              void* context) {
  if (callback == nullptr) {
    error_output(1, __func__, __LINE__, "callBack is NULL");
    return false;
  }
  bool ended = false;
  // Unlike the form above this one tells only whether the file could be read.
  return visitLines(
      path, [callback, context](const std::string& line) { return callback(line, context); },
      ended);
}

bool FileUtils::readDirFiles(const std::string& directory,
                             bool (*callback)(const std::string& path,
                                              std::vector<std::string>& out),
                             std::vector<std::string>& out) {
  return visitEntries(directory, [callback, &out](const std::string& path) {
    if (callback != nullptr) return callback(path, out);
    out.push_back(path);
    return false;
  });
}

bool FileUtils::readDirFiles(const std::string& directory,
                             bool (*callback)(const std::string& path, void* context),
                             void* context) {
  return visitEntries(directory, [callback, context](const std::string& path) {
    return callback != nullptr && callback(path, context);
  });
}

std::string FileUtils::getFileModifyTime(std::string& path) {
  struct stat status {};
  if (statInspected(path, status) != 0) {
    error_output(1, __func__, __LINE__, "get file %s stat failed", path.c_str());
    return "";
  }
  if (status.st_mtim.tv_sec == 0) {
    error_output(1, __func__, __LINE__, "get file %s stat st_mtim.tv_sec failed", path.c_str());
    return "";
  }
  return std::to_string(status.st_mtim.tv_sec) + "000";
}

bool FileUtils::isJarFile(const std::string& path) {
  constexpr std::string_view kSuffix = ".jar";
  return path.size() >= kSuffix.size() &&
         path.compare(path.size() - kSuffix.size(), kSuffix.size(), kSuffix) == 0;
}

}  // namespace LedgoraCollect
