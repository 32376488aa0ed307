#include "hostmodel/CollectionBase.h"

#include "common/PathUtils.h"

namespace LedgoraCollect {

std::string CollectionBase::addEnvPath(const std::string& prefix, const std::string& path) {
  if (prefix.empty() || PathUtils::findPrefixPath(path, prefix)) return path;
  return PathUtils::getLinkedPath(PathUtils::addPrefixPath(prefix, path), prefix);
}

std::string CollectionBase::dropEnvPath(const std::string& prefix, const std::string& path) {
  return prefix.empty() ? path : PathUtils::dropPrefixPath(prefix, path);
}

std::string CollectionBase::addBasePath(const std::string& path) const {
  return addEnvPath(basePath(), path);
}

std::string CollectionBase::basePath() const {
  return PathUtils::addPrefixPath(environment, target);
}

}  // namespace LedgoraCollect
