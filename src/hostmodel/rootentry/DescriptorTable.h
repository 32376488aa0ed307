#pragma once

namespace LedgoraCollect {

/// Closes every descriptor above 2 and opens /dev/null for any of 0 to 2 that
/// is closed. False when that can't be had.
bool keepStandardDescriptorsOnly();

}  // namespace LedgoraCollect
