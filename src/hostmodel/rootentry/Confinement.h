#pragma once

#include <cstdint>
#include <string_view>

namespace LedgoraCollect {

/// The bit of a capability in a set.
constexpr std::uint64_t capabilityBit(unsigned int capability) {
  return std::uint64_t{1} << capability;
}

/// Keeps the capabilities of `allowed` and drops all others for good, also
/// from what programs may gain. 0, or errno.
int limitCapabilities(std::uint64_t allowed);

/// Puts a null device, opened in the root as it is now, in the place of each
/// standard descriptor that isn't a pipe or a regular file: no device,
/// directory or socket of outside reaches the command. 0, or errno.
int replaceStandardDescriptors();

/// Takes on the resource limits in the text of /proc/<pid>/limits, but raises
/// none. Limits that the text doesn't name stay. 0, or errno.
int takeOnLimits(std::string_view limitsText);

/// No dump of the command is handed to anybody. 0, or errno.
int refuseCoreDumps();

}  // namespace LedgoraCollect
