#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "collect/NpmPkgInfoDefinition.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// Type 24: the npm packages that are installed globally, beside the npm
/// command and under the prefixes that users' npm configuration files name. A
/// package is a directory with a package.json.
class CollectNpmPkgInfo : public CollectBase {
 public:
  bool init() override;
  void uinit() override {}
  bool collectImple(cJSON* root) override;

 private:
  using PackageDirs = std::map<std::string, std::string>;  // directory to its package.json

  void getHostNpmPackage();
  bool getSystemNpmPackage();
  bool getUserNpmPackage();
  /// Sets `path` to the directory that holds the packages beside npm.
  bool getSystemPkgPath(std::string& path);
  /// Fills mUserRcMap. False if the account file can't be opened.
  bool getHostUserPath();
  void addUserRcFile(const std::string& passwdLine);
  /// Sets `path` to the package directory that a configuration file names;
  /// it stays empty if there is none. False if the file can't be opened.
  bool getUserPkgPath(const std::string& rcFile, std::string& path);
  bool decidesPkgPath(const std::string& line, std::string& path) const;
  /// Adds the packages below `root`, nested ones too.
  bool getNpmPackage(std::string& root);
  /// Adds the package directories directly under `dir` to `dirs`.
  bool getPkgDirPath(const std::string& dir, PackageDirs& dirs);
  void walkNestedDirs(PackageDirs& dirs);
  void addPackages(const PackageDirs& dirs);
  void addPackage(const std::string& dir, const std::string& file);
  /// Whether the file may still be read, which then counts.
  bool takeReadBudget(const std::string& file);

  int mMaxPkgCount = 1024;
  int mMaxDirCount = 1024;
  NpmPkgInfoDefinition mPkgInfo;
  std::map<std::string, std::string> mUserRcMap;  // user to configuration file
  std::set<std::string> mCollectedDirs;           // roots walked already
  std::uint64_t mReadBytes = 0;                   // of package.json files, in all
};

}  // namespace LedgoraCollect
