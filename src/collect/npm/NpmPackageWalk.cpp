// The part of the npm collector that walks directories of packages.
#include <cstdint>

#include "collect/CollectNpmPkgInfo.h"
#include "collect/support/DirectoryEntries.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

// All package.json files of a run together. Real ones have a few KiB; without
// a bound whoever fills a directory would decide how long the run takes and
// how large the document gets. What would exceed it is left out by itself, so
// that one large file doesn't hide the packages behind it.
constexpr std::uint64_t kMaximumReadBytes = std::uint64_t{64} << 20;

bool isRegularFile(const std::string& path) {
  struct stat status {};
  return lstatInspected(path, status) == 0 && S_ISREG(status.st_mode);
}

/// "name:command" of each script, names ascending, joined by ",".
std::string commandText(const std::map<std::string, std::string>& scripts) {
  std::string text;
  for (const auto& [name, command] : scripts) text.append(name).append(":").append(command) += ',';
  if (!text.empty()) text.pop_back();
  return text;
}

}  // namespace

bool CollectNpmPkgInfo::getNpmPackage(std::string& root) {
  PackageDirs dirs;
  const bool listed = getPkgDirPath(root, dirs);
  mCollectedDirs.insert(root);
  if (!listed || dirs.empty()) {
    error_output(1, __func__, __LINE__, "get npm package dir path failed");
    return false;
  }
  walkNestedDirs(dirs);
  addPackages(dirs);
  return true;
}

// A directory without a package.json isn't entered: a scope ("@name") yields
// nothing, and consumers rely on the list without scoped packages.
bool CollectNpmPkgInfo::getPkgDirPath(const std::string& dir, PackageDirs& dirs) {
  if (dir.empty()) {
    error_output(1, __func__, __LINE__, "dir path is empty");
    return false;
  }
  if (mCollectedDirs.count(dir) != 0) {
    error_output(1, __func__, __LINE__, "dir path %s has been collected", dir.c_str());
    return false;
  }
  const bool opened = forEachEntry(dir, [&dirs](const std::string& path, auto modeOf) {
    const std::string file = path + "/package.json";
    if (S_ISDIR(modeOf()) && isRegularFile(file)) dirs.emplace(path, file);
    return dirs.size() < kMaximumPackageEntries;
  });
  if (!opened) error_output(1, __func__, __LINE__, "open dir %s failed", dir.c_str());
  return opened;
}

// Nested directories sort behind the one that they are found in, so the walk
// comes to them too.
void CollectNpmPkgInfo::walkNestedDirs(PackageDirs& dirs) {
  for (auto next = dirs.cbegin(); next != dirs.cend(); ++next) {
    if (static_cast<long long>(dirs.size()) > mMaxDirCount) {
      error_output(1, "getNpmPackage", __LINE__, "dir paths size is more than %zu",
                   static_cast<std::size_t>(mMaxDirCount));
      return;
    }
    const std::string nested = next->first + "/node_modules";
    if (existsInspected(nested) && !getPkgDirPath(nested, dirs)) {
      error_output(1, "getNpmPackage", __LINE__, "collect npm package failed path is %s.",
                   nested.c_str());
    }
  }
}

void CollectNpmPkgInfo::addPackages(const PackageDirs& dirs) {
  for (const auto& [dir, file] : dirs) {
    if (static_cast<long long>(mPkgInfo.getPkgInfoSize()) >= mMaxPkgCount) {
      error_output(1, "getNpmPackage", __LINE__, "npm pkg is more than %d max npm count",
                   mMaxPkgCount);
      return;
    }
    if (takeReadBudget(file)) addPackage(dir, file);
  }
}

void CollectNpmPkgInfo::addPackage(const std::string& dir, const std::string& file) {
  NpmPkgInfoDefinition::PKG_JSON package;
  if (!NpmPkgInfoDefinition::readPkgJson(file, package)) {
    error_output(1, "getNpmPackage", __LINE__, "get get pkg json path failed path is %s.",
                 file.c_str());
    return;
  }
  mPkgInfo.addPkgInfo(package.name, package.version, dropEnvPath(getMEnv(), dir), "global", "",
                      commandText(package.scripts));
}

bool CollectNpmPkgInfo::takeReadBudget(const std::string& file) {
  struct stat status {};
  if (statInspected(file, status) != 0) return true;  // the reading will tell
  const auto sizeBytes = static_cast<std::uint64_t>(status.st_size);
  if (mReadBytes + sizeBytes <= kMaximumReadBytes) {
    mReadBytes += sizeBytes;
    return true;
  }
  error_output(1, "getNpmPackage", __LINE__, "%s is too large, it is left out", file.c_str());
  return false;
}

}  // namespace LedgoraCollect
