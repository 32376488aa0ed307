#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

/// One entry of the mount table.
struct _DISK_PATION_INFO_ {
  std::string mountPath;
  std::string fileSystem;
  std::string device;
};

/// The entries in the text of a mount table, in its order, with the octal
/// escapes for blanks undone. A line without the first three fields is skipped.
std::vector<_DISK_PATION_INFO_> parseMountTable(const std::string& text);

/// Network file systems and the kernel's binfmt_misc aren't asked for their size.
bool isNfs(const _DISK_PATION_INFO_& mount);
bool isBinfmtMisc(const _DISK_PATION_INFO_& mount);

}  // namespace LedgoraCollect
