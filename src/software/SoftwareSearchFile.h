#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "collect/ProcessRecords.h"

namespace LedgoraCollect {

/// Finds files and directories by an expression below given directories, for
/// the rules. Bounds each walk in depth and width, remembers for the rest of
/// the run what a failed search has listed, and bounds what it remembers.
/// Walks happen on paths with the process's root in front; lists and results
/// hold paths as the process sees them. Singleton.
class softwareSearchFile {
 public:
  static softwareSearchFile* getInstance();

  /// Sets `found` to the first path below the base paths on which the
  /// expression matches: a file if `fileType` is "document", else a directory.
  bool searchFileByRule(PROC_EX_INFO_S* proc, std::vector<std::string>& basePaths,
                        std::string& regex, std::string& found, std::string& fileType);
  /// Lists the tree below a (prefixed) directory. `size` gets the sum of the
  /// lengths of the path names.
  void getAllDirectorFile(PROC_EX_INFO_S* proc, const std::string& directory,
                          std::vector<std::string>& files, std::vector<std::string>& dirs,
                          unsigned long* size);
  /// Lists one directory and what lies below. False if it can't be opened.
  bool recursionScanDirFile(PROC_EX_INFO_S* proc, int baseDepth, const std::string& directory,
                            std::vector<std::string>& files, std::vector<std::string>& dirs,
                            unsigned long* size);

 private:
  struct Walk;

  softwareSearchFile();
  bool matchFirst(std::vector<std::string>& paths, const std::string& regex, bool wantFiles,
                  std::string& found);
  void remember(const std::string& prefixed, std::vector<std::string>&& files,
                std::vector<std::string>&& dirs, unsigned long size);
  bool scan(Walk& walk, const std::string& directory);
  void visitEntry(Walk& walk, const std::string& full, unsigned char entryType, int& counter);
  void visitLink(Walk& walk, const std::string& link, int& counter);

  std::map<std::string, std::vector<std::string>> m_FindFile;
  std::map<std::string, std::vector<std::string>> mFoundDirectories;
  int mMaximumDepth;
  int mMaximumFiles;
  // Both limits are on path text, not on the size of files, whatever their
  // keys say.
  std::uint64_t mWalkLimitBytes;
  std::uint64_t mMemoryLimitBytes;
  std::uint64_t mMemoryBytes = 0;
};

}  // namespace LedgoraCollect
