#pragma once

#include <string>

namespace LedgoraCollect {

/// Cuts the last two components, each at the last "/". Returns false, with the
/// path cut as far as that went, if there is no "/" left.
inline bool cutTwoComponents(std::string& path) {
  for (int i = 0; i < 2; ++i) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return false;
    path.erase(slash);
  }
  return true;
}

}  // namespace LedgoraCollect
