#pragma once

#include <string>

namespace LedgoraCollect {

/// The container that a process lives in.
struct ContainerInfo {
  std::string containerId;    // 64 characters from a to z and 0 to 9
  std::string containerType;  // "docker" or "containerd"
  std::string containerPath;  // "/proc/%d/root" of the process
};

}  // namespace LedgoraCollect
