#pragma once

#include <string>

namespace LedgoraCollect {

/// Decides which paths of a dpkg package are worth a row: executables and the
/// like, the files that a process can be started from. True means leave out.
/// Looks at the path's text only.
bool pkgFileFilter(const std::string& target, const std::string& environment,
                   const std::string& path);

}  // namespace LedgoraCollect
