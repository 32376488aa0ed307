#pragma once

#include <string>

namespace LedgoraCollect {

/// Tells on standard error that an argument was refused and where help is; for
/// --help and its kin, the help itself. They too are refused arguments: to a
/// parent only a run that collects is a success.
void explainArgument(const std::string& refused);

}  // namespace LedgoraCollect
