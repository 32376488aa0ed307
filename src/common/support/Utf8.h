#pragma once

#include <cstddef>
#include <string_view>

namespace LedgoraCollect {

/// Length in bytes (1 to 4) of the valid UTF-8 sequence that `text` begins
/// with; 0 if it begins with none (empty, stray or missing continuation byte,
/// overlong form, surrogate, beyond U+10FFFF).
std::size_t utf8SequenceLength(std::string_view text);

}  // namespace LedgoraCollect
