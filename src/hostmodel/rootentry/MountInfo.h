#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace LedgoraCollect {

/// One mount of /proc/<pid>/mountinfo.
struct MountEntry {
  int id = 0;
  std::string point;        ///< unescaped, as the process's root names it
  unsigned long flags = 0;  ///< MS_RDONLY, MS_NOATIME and the like, as mount(2) takes them
  std::string fileSystem;   ///< type
};

/// The mounts in the text of a mountinfo file. A line that can't be understood
/// is left out.
std::vector<MountEntry> parseMountInfo(std::string_view text);

}  // namespace LedgoraCollect
