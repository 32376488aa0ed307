#include "collect/support/RootFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "common/InspectedRoot.h"
#include "hostmodel/CollectionBase.h"

namespace LedgoraCollect {

namespace {

constexpr std::size_t kStepBytes = std::size_t{256} << 10;

/// Appends one read's worth; the count as read() gives it.
ssize_t readStep(int descriptor, std::size_t maximumBytes, std::string& content) {
  const std::size_t before = content.size();
  content.resize(before + std::min(kStepBytes, maximumBytes - before));
  ssize_t count = 0;
  do {
    count = ::read(descriptor, content.data() + before, content.size() - before);
  } while (count < 0 && errno == EINTR);
  content.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return count;
}

}  // namespace

bool readRootFile(const std::string& env, const std::string& path, std::size_t maximumBytes,
                  std::string& content) {
  content.clear();
  const FileDescriptor file = openInspected(CollectionBase::addEnvPath(env, path), O_RDONLY);
  if (!file) return false;
  ssize_t count = 1;
  while (count > 0 && content.size() < maximumBytes) {
    count = readStep(file.get(), maximumBytes, content);
  }
  return count >= 0 || !content.empty();
}

}  // namespace LedgoraCollect
