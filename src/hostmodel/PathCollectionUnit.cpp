#include "hostmodel/PathCollectionUnit.h"

#include "common/PathUtils.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "hostmodel/EnvCmdCollectionUnit.h"

namespace LedgoraCollect {

bool PathCollectionUnit::isExist(const std::string& path) const {
  const std::string root = basePath();
  LEDGORA_DEBUG("Detect path: %s is exist?", path.c_str());
  return PathUtils::isExist(PathUtils::getLinkedPath(PathUtils::addPrefixPath(root, path), root));
}

bool PathCollectionUnit::isExistDirect(const std::string& path) const {
  return PathUtils::isExist(addBasePath(path));
}

bool PathCollectionUnit::findCmdPath(const std::string& command, std::string& out) const {
  const std::string assignment = EnvCmdCollectionUnit::collectDefaultPathEnv();
  const std::string list = assignment.substr(assignment.find('=') + 1);
  for (const std::string& directory : StringUtils::split(list, ":", false)) {
    const std::string candidate = directory + "/" + command;
    if (isExistDirect(candidate)) {
      out = candidate;
      return true;
    }
  }
  return false;
}

}  // namespace LedgoraCollect
