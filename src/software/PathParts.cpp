#include "software/PathParts.h"

#include "common/PathUtils.h"

namespace LedgoraCollect {

std::string directoryOf(const std::string& path) {
  return PathUtils::getFileDirPath(path.substr(0, kPathPartBytes).c_str());
}

std::string baseNameOf(const std::string& path) {
  std::string cut = path.substr(0, kPathPartBytes);
  while (cut.size() > 1 && cut.back() == '/') cut.pop_back();
  const std::size_t slash = cut.rfind('/');
  return slash == std::string::npos || cut.size() == 1 ? cut : cut.substr(slash + 1);
}

std::string keyFileDirectory(const PROC_EX_INFO_S& proc) { return directoryOf(proc.keyFilePath); }

}  // namespace LedgoraCollect
