#pragma once

#include <string>

#include "collect/ProcessRecords.h"

namespace LedgoraCollect {

// Longer paths are cut there before their parts are taken.
constexpr std::size_t kPathPartBytes = 4095;

/// The directory of a path as dirname gives it, of at most 4,095 characters.
std::string directoryOf(const std::string& path);
/// The last component of a path as basename gives it; empty for an empty path.
std::string baseNameOf(const std::string& path);
/// The directory of the process's key file.
std::string keyFileDirectory(const PROC_EX_INFO_S& proc);

}  // namespace LedgoraCollect
