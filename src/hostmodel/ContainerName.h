#pragma once

#include <cstddef>

namespace LedgoraCollect {

/// Length of a container's id.
constexpr std::size_t kContainerIdLength = 64;

}  // namespace LedgoraCollect
