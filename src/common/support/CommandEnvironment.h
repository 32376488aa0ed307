#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/support/CommandRunner.h"

namespace LedgoraCollect {

/// Splits "NAME=value;": one name, then everything behind the first "=" but for
/// one ";" at the very end. A ";" inside the value never starts another
/// variable, so "PATH=/a;LD_PRELOAD=/b;" sets PATH only. False without a name or "=".
bool parseAssignment(std::string_view text, std::string& name, std::string& value);

/// The child's variables as "NAME=value": those of `inherited` (ends with null)
/// that `variables` lets through, with `assignment` in place of one of that name.
/// An assignment that can't be understood sets nothing.
std::vector<std::string> commandEnvironment(const char* const* inherited,
                                            std::string_view assignment,
                                            CommandVariables variables);

}  // namespace LedgoraCollect
