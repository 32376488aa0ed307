#pragma once

#include <string>

namespace LedgoraCollect {

/// True for a variable that the system or its shells set themselves. Names are
/// compared with their case: "histchars" is one of them, "HISTCHARS" isn't.
bool isSystemVariable(const std::string& name);

}  // namespace LedgoraCollect
