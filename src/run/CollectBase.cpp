#include "run/CollectBase.h"

#include "hostmodel/CollectionBase.h"

namespace LedgoraCollect {

bool CollectBase::keepsRecord(bool inContainer) const {
  return inContainer ? (mOption & kOptionContainers) != 0 : (mOption & kOptionNoHost) == 0;
}

std::string CollectBase::addEnvPath(const std::string& env, const std::string& path) {
  return CollectionBase::addEnvPath(env, path);
}

std::string CollectBase::dropEnvPath(const std::string& env, const std::string& path) {
  return CollectionBase::dropEnvPath(env, path);
}

}  // namespace LedgoraCollect
