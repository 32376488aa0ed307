#include "software/SoftwareSearchFile.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <unordered_set>

#include "collect/CollectProcessInfo.h"
#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/RegexUtils.h"
#include "common/support/Log.h"
#include "run/CollectLimit.h"

namespace LedgoraCollect {
namespace {

// Directories don't count against the number of files, so a tree made for the
// purpose could go on without end. Nothing real comes near this much path text.
constexpr unsigned long kWalkTextBytes = 64UL << 20;

int depthOf(const std::string& path) {
  return static_cast<int>(std::count(path.begin(), path.end(), '/'));
}

unsigned char typeOf(const struct stat& status) {
  if (S_ISLNK(status.st_mode)) return DT_LNK;
  if (S_ISDIR(status.st_mode)) return DT_DIR;
  return S_ISREG(status.st_mode) ? DT_REG : DT_UNKNOWN;
}

}  // namespace

/// One listing of a tree: where its paths go.
struct softwareSearchFile::Walk {
  PROC_EX_INFO_S* proc;
  int baseDepth;
  std::vector<std::string>& files;
  std::vector<std::string>& dirs;
  unsigned long& size;
  std::unordered_set<std::string> known;  // what stands in dirs
  unsigned long textBytes = 0;

  void addFile(std::string path) {
    textBytes += path.size();
    files.push_back(std::move(path));
  }
  void addDirectory(std::string path) {
    textBytes += path.size();
    known.insert(path);
    dirs.push_back(std::move(path));
  }
};

softwareSearchFile* softwareSearchFile::getInstance() {
  static softwareSearchFile instance;
  return &instance;
}

softwareSearchFile::softwareSearchFile() {
  const CollectLimit* limits = CollectLimit::getInstance();
  mMaximumDepth = CollectLimit::asCount(limits->E_HOST_LIMIT_DIR_DEP);
  mMaximumFiles = CollectLimit::asCount(limits->E_HOST_LIMIT_DIR_FILE);
  mWalkLimitBytes = static_cast<std::uint64_t>(limits->E_HOST_LIMIT_ONE_FILE_SIZE);
  mMemoryLimitBytes = static_cast<std::uint64_t>(limits->E_HOST_LIMIT_ALL_FILE_SIZE);
}

bool softwareSearchFile::searchFileByRule(PROC_EX_INFO_S* proc, std::vector<std::string>& basePaths,
                                          std::string& regex, std::string& found,
                                          std::string& fileType) {
  if (basePaths.empty() || (regex.empty() && fileType.empty())) return false;
  const bool wantFiles = fileType == "document";
  for (const std::string& base : basePaths) {
    const std::string prefixed = CollectProcessInfo::addProcessBasePath(*proc, base);
    if (base.empty() || !existsInspected(prefixed)) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]Access basePath:%s failed.",
                   prefixed.c_str());
      continue;
    }
    std::vector<std::string>& storedFiles = m_FindFile[prefixed];
    std::vector<std::string> files;
    std::vector<std::string> dirs;
    unsigned long size = 0;
    const bool stored = !storedFiles.empty();
    if (!stored) getAllDirectorFile(proc, prefixed, files, dirs, &size);
    std::vector<std::string>& fileList = stored ? storedFiles : files;
    error_output(
        2, __func__, __LINE__, "[COLLECT SOFT]File(%s) list size %ld, fileRegex %s, fileType %s.",
        prefixed.c_str(), static_cast<long>(fileList.size()), regex.c_str(), fileType.c_str());
    std::vector<std::string>& dirList = stored ? mFoundDirectories[prefixed] : dirs;
    if (matchFirst(wantFiles ? fileList : dirList, regex, wantFiles, found)) return true;
    // Only the listing of a failed search is kept.
    if (!stored) remember(prefixed, std::move(files), std::move(dirs), size);
  }
  return false;
}

bool softwareSearchFile::matchFirst(std::vector<std::string>& paths, const std::string& regex,
                                    bool wantFiles, std::string& found) {
  for (std::string& path : paths) {
    if (!regex_match(path, regex)) continue;
    error_output(2, __func__, __LINE__,
                 wantFiles ? "[COLLECT SOFT]File path %s, regex %s, match successful"
                           : "[COLLECT SOFT]Dir path %s, regex %s, match successful",
                 path.c_str(), regex.c_str());
    found = path;
    return true;
  }
  return false;
}

void softwareSearchFile::remember(const std::string& prefixed, std::vector<std::string>&& files,
                                  std::vector<std::string>&& dirs, unsigned long size) {
  if (size > mWalkLimitBytes) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]File: %s size: %lu exceeds %lu.",
                 prefixed.c_str(), size, static_cast<unsigned long>(mWalkLimitBytes));
    return;
  }
  if (mMemoryBytes > mMemoryLimitBytes) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]m_FindFile file size: %lu exceeds %lu.",
                 static_cast<unsigned long>(mMemoryBytes),
                 static_cast<unsigned long>(mMemoryLimitBytes));
    return;
  }
  m_FindFile[prefixed] = std::move(files);
  mMemoryBytes += size;
  std::vector<std::string>& storedDirs = mFoundDirectories[prefixed];
  if (storedDirs.empty()) storedDirs = std::move(dirs);
}

void softwareSearchFile::getAllDirectorFile(PROC_EX_INFO_S* proc, const std::string& directory,
                                            std::vector<std::string>& files,
                                            std::vector<std::string>& dirs, unsigned long* size) {
  error_output(2, __func__, __LINE__, "[COLLECT SOFT]directory %s, search file and dir in",
               directory.c_str());
  if (!recursionScanDirFile(proc, depthOf(directory), directory, files, dirs, size)) {
    error_output(0, __func__, __LINE__, "[COLLECT SOFT]directory %s, search file failed",
                 directory.c_str());
  }
}

bool softwareSearchFile::recursionScanDirFile(PROC_EX_INFO_S* proc, int baseDepth,
                                              const std::string& directory,
                                              std::vector<std::string>& files,
                                              std::vector<std::string>& dirs, unsigned long* size) {
  Walk walk{proc, baseDepth, files, dirs, *size, {dirs.begin(), dirs.end()}};
  return scan(walk, directory);
}

// Recursion goes as deep as the limit of the depth: also a link adds to it.
bool softwareSearchFile::scan(Walk& walk, const std::string& directory) {
  if (directory.empty()) return false;
  const int depth = depthOf(directory) - walk.baseDepth;
  if (depth > 0 && depth > mMaximumDepth) {
    error_output(1, __func__, __LINE__, "[COLLECT SOFT]dir %s, search depth is : %d exceed max %d.",
                 directory.c_str(), depth, mMaximumDepth);
    return true;
  }
  const DirHandle handle = openInspectedDir(directory);
  if (!handle) return false;
  int counter = 0;  // of this directory, not of the tree
  while (const dirent* entry = readdir(handle.get())) {
    if (counter > mMaximumFiles) {
      error_output(1, __func__, __LINE__,
                   "[COLLECT SOFT]dir %s, file number : %d, exceed MAX number", directory.c_str(),
                   counter);
      break;
    }
    if (walk.textBytes > kWalkTextBytes) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]dir %s, too much to list, stopped",
                   directory.c_str());
      break;
    }
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    visitEntry(walk, directory + "/" + name, entry->d_type, counter);
  }
  return true;
}

void softwareSearchFile::visitEntry(Walk& walk, const std::string& full, unsigned char entryType,
                                    int& counter) {
  // The directory's own word saves a call for each file.
  if (entryType == DT_UNKNOWN) {
    struct stat status {};
    if (lstatInspected(full, status) != 0) {
      error_output(1, __func__, __LINE__, "[COLLECT SOFT]lstat64: %s failed.", full.c_str());
      return;
    }
    entryType = typeOf(status);
  }
  switch (entryType) {
    case DT_LNK:
      visitLink(walk, full, counter);
      break;
    case DT_DIR:
      walk.addDirectory(CollectProcessInfo::dropProcessBasePath(*walk.proc, full));
      scan(walk, full);
      break;
    case DT_REG:
      walk.addFile(CollectProcessInfo::dropProcessBasePath(*walk.proc, full));
      ++counter;
      walk.size += full.size();
      break;
    default:
      LEDGORA_DEBUG("[COLLECT SOFT]file system is unkonwn.");
      break;
  }
}

void softwareSearchFile::visitLink(Walk& walk, const std::string& link, int& counter) {
  const std::string& root = walk.proc->processBasePath;
  const std::string full = PathUtils::getLinkedPath(CollectBase::addEnvPath(root, link), root);
  struct stat status {};
  if (statInspected(full, status) != 0) return;
  std::string target = CollectProcessInfo::dropProcessBasePath(*walk.proc, full);
  if (!S_ISDIR(status.st_mode)) {
    // Findable by both names, and counted twice.
    walk.size += full.size();
    walk.addFile(std::move(target));
    walk.addFile(CollectProcessInfo::dropProcessBasePath(*walk.proc, link));
    counter += 2;
    return;
  }
  // This is what ends cycles of links.
  if (walk.known.count(target) != 0) {
    error_output(2, __func__, __LINE__, "[COLLECT SOFT]directory %s already searched, skipped.",
                 target.c_str());
    return;
  }
  walk.addDirectory(std::move(target));
  scan(walk, link);
}

}  // namespace LedgoraCollect
