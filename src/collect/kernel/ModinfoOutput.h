#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

/// One loaded kernel module as the document lists it.
struct KERNEL_MODULE_INFO_S {
  std::string name;
  std::string description;
  std::string path;
  std::string version;
  std::string size;  // bytes
  int holderCount = 0;
  int dependencyCount = 0;
  std::vector<std::string> parameters;
  std::vector<std::string> holders;
  std::vector<std::string> dependencies;
};

/// Understands one line of lsmod below its header: name, size, holders. The
/// name is empty for a line without words.
KERNEL_MODULE_INFO_S parseLsmodLine(const std::string& line);

/// Takes description, path, version, parameters and dependencies from what
/// modinfo printed. Of a value that stands there twice the last one counts.
void parseModinfo(const std::vector<std::string>& lines, KERNEL_MODULE_INFO_S& module);

}  // namespace LedgoraCollect
