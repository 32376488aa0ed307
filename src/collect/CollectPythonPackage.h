#pragma once

#include <string>
#include <vector>

#include "collect/support/CommandLocator.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// One Python package of the document.
struct PYTHON_PACKAGE_INFO_S {
  std::string pythonType;  // "python2" or "python3"
  std::string path;        // as the inspected system knows it
  std::string name;
  std::string version;
  std::string scope;
};

/// Type 25: the packages in the library directories of the machine's python2
/// and python3, as their metadata files tell them. Nothing of Python is run.
class CollectPythonPackage : public CollectBase {
 public:
  bool init() override;
  void uinit() override {}
  bool collectImple(cJSON* root) override;

 private:
  using Packages = std::vector<PYTHON_PACKAGE_INFO_S>;

  void getHostPythonPackage(Packages& packages);
  bool getPython2Package(Packages& packages);
  bool getPython3Package(Packages& packages);
  /// Appends the packages of mPythonName until the limit is reached.
  bool getPythonPackage(Packages& packages);

  /// Appends the directories that hold libraries of the interpreter.
  bool getPythonPackagePath(std::vector<std::string>& dirs);
  /// Sets the install prefix, root in front, and mPythonVersion, both from the
  /// real path of the command.
  bool getPythonPrefixPath(const std::string& command, std::string& prefix);
  bool paramPythonPackagePath(const std::string& prefix, std::vector<std::string>& dirs);
  void addLibraryDirs(const std::string& dir, std::vector<std::string>& dirs);

  /// Appends the metadata files below the directories.
  bool getPythonAllDirs(const std::vector<std::string>& dirs, std::vector<std::string>& files);
  /// Appends the metadata files and directories of a directory.
  bool getDirAllDirs(const std::string& dir, std::vector<std::string>& found);
  /// Appends the metadata file that `path` is or holds; none is no failure.
  bool getCharacterFile(const std::string& path, std::vector<std::string>& files);

  /// Appends the package of a metadata file. False if its head doesn't name one.
  bool getPythonPackageByFile(const std::string& file, Packages& packages);
  /// Sets the record's path: that of the package beside its metadata if it is
  /// there, else the directory.
  void ParsePackagePath(const std::string& file, PYTHON_PACKAGE_INFO_S& record);
  /// True if the path, looked at behind the root, is one of metadata.
  bool namesMetadata(const std::string& path) const;

  std::string mPythonName;     // the interpreter in hand
  std::string mPythonVersion;  // "python3.11", from the real file name
  int mMaxPackageCount = 0;
  std::vector<std::string> mLibDirs;
  std::vector<std::string> mSiteDirs;
  CommandLocator mCommands{""};
};

}  // namespace LedgoraCollect
