#include "hostmodel/FileCollectionUnit.h"

#include "common/FileUtils.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

bool FileCollectionUnit::readFileContent(const std::string& path, std::string& out, int maximum,
                                         char replacement) const {
  LEDGORA_DEBUG("Read file:%s", path.c_str());
  return FileUtils::readFileContent(addBasePath(path), out, maximum, replacement);
}

bool FileCollectionUnit::readFileLines(const std::string& path,
                                       bool (*callback)(const std::string& line, std::string& out),
                                       std::string& out) const {
  return FileUtils::readFileLines(addBasePath(path), callback, out);
}

bool FileCollectionUnit::readFileLines(const std::string& path,
                                       bool (*callback)(const std::string& line, void* context),
                                       void* context) const {
  return FileUtils::readFileLines(addBasePath(path), callback, context);
}

std::string FileCollectionUnit::getFileModifyTime(const std::string& path) const {
  std::string full = addBasePath(path);
  return FileUtils::getFileModifyTime(full);
}

bool FileCollectionUnit::readDirFiles(const std::string& directory,
                                      bool (*callback)(const std::string& path,
                                                       std::vector<std::string>& out),
                                      std::vector<std::string>& out) const {
  return FileUtils::readDirFiles(addBasePath(directory), callback, out);
}

bool FileCollectionUnit::readDirFiles(const std::string& directory,
                                      bool (*callback)(const std::string& path, void* context),
                                      void* context) const {
  return FileUtils::readDirFiles(addBasePath(directory), callback, context);
}

}  // namespace LedgoraCollect
