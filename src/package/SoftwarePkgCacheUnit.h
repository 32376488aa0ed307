#pragma once

#include <string>
#include <utility>
#include <vector>

namespace LedgoraCollect {

/// One installed package as callers of the package cache see it.
class SoftwarePkgCacheUnit {
 public:
  const std::string& getPackageName() const { return mName; }
  /// For rpm version and release, joined by a hyphen.
  const std::string& getPackageVersion() const { return mVersion; }
  /// "rpm" or "dpkg".
  const std::string& getPackageType() const { return mType; }
  /// rpm: bytes; dpkg: KiB, as the text of the status file.
  const std::string& getPackageSize() const { return mSize; }
  /// Milliseconds since the epoch as text, whole seconds; empty when unknown.
  const std::string& getPackageInstallTime() const { return mInstallTime; }
  /// Identity of this very installation: name, version, install time and
  /// size, joined without separators.
  const std::string& getPackageKey() const { return mKey; }
  /// Configuration files; filled for dpkg only.
  const std::vector<std::string>& getPackageConfigFiles() const { return mConfigFiles; }
  const std::string& getPackageDescription() const { return mDescription; }

  void setPackageName(std::string name) { mName = std::move(name); }
  void setPackageVersion(std::string version) { mVersion = std::move(version); }
  void setPackageType(std::string type) { mType = std::move(type); }
  void setPackageSize(std::string size) { mSize = std::move(size); }
  void setPackageInstallTime(std::string milliseconds) { mInstallTime = std::move(milliseconds); }
  void setPackageKey(std::string key) { mKey = std::move(key); }
  void setPackageConfigFiles(std::vector<std::string> paths) { mConfigFiles = std::move(paths); }
  void setPackageDescription(std::string text) { mDescription = std::move(text); }

 private:
  std::string mName;
  std::string mVersion;
  std::string mType;
  std::string mSize;
  std::string mInstallTime;
  std::string mKey;
  std::vector<std::string> mConfigFiles;
  std::string mDescription;
};

}  // namespace LedgoraCollect
