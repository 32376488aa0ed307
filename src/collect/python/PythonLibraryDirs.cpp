// The part of the Python collector that finds library directories and the
// metadata files in them.
#include <cerrno>
#include <set>

#include "collect/CollectPythonPackage.h"
#include "collect/support/DirectoryEntries.h"
#include "collect/support/PathCutting.h"
#include "common/PathUtils.h"
#include "common/RegexUtils.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

constexpr char kVersionExpression[] = "(python\\d\\.\\d*)";
constexpr const char* kPrefixes[] = {"/usr", "/usr/local"};
constexpr const char* kMetadataWords[] = {".egg", ".dist"};
constexpr const char* kMetadataFiles[] = {"PKG-INFO", "METADATA"};

template <std::size_t Count>
bool holdsOneOf(const std::string& text, const char* const (&words)[Count]) {
  for (const char* word : words) {
    if (text.find(word) != std::string::npos) return true;
  }
  return false;
}

}  // namespace

// The root's own directory may have such a name, which says nothing.
bool CollectPythonPackage::namesMetadata(const std::string& path) const {
  return holdsOneOf(dropEnvPath(getMEnv(), path), kMetadataWords);
}

bool CollectPythonPackage::getPythonPackagePath(std::vector<std::string>& dirs) {
  std::string command;
  if (!mCommands.locate(mPythonName, command)) return false;
  std::string prefix;
  if (getPythonPrefixPath(command, prefix) && paramPythonPackagePath(prefix, dirs)) return true;
  error_output(1, __func__, __LINE__, "get %s prefix path failed", mPythonName.c_str());
  return false;
}

// A real file that is named "python3" has no version in its name and so no
// packages.
bool CollectPythonPackage::getPythonPrefixPath(const std::string& command, std::string& prefix) {
  prefix = PathUtils::getLinkedPath(addEnvPath(getMEnv(), command), getMEnv());
  error_output(2, __func__, __LINE__, "%s prefix dir path is %s ", mPythonName.c_str(),
               prefix.c_str());
  struct stat status {};
  if (lstatInspected(prefix, status) != 0) {
    error_output(0, __func__, __LINE__, "get path %s stat failed", prefix.c_str());
    return false;
  }
  std::string baseName = prefix.substr(prefix.rfind('/') + 1);
  if (!regex_interface(baseName, mPythonVersion, kVersionExpression)) {
    error_output(0, __func__, __LINE__, "regex_interface pythonVersion failed baseName is %s.",
                 baseName.c_str());
    return false;
  }
  if (cutTwoComponents(prefix)) return true;
  error_output(0, __func__, __LINE__, "readlink failed path is %s error number is %d",
               prefix.c_str(), errno);
  return false;
}

bool CollectPythonPackage::paramPythonPackagePath(const std::string& prefix,
                                                  std::vector<std::string>& dirs) {
  std::set<std::string> prefixes{prefix};
  for (const char* known : kPrefixes) prefixes.insert(addEnvPath(getMEnv(), known));
  std::vector<std::string> versions{mPythonVersion};
  if (mPythonName != mPythonVersion) versions.push_back(mPythonName);
  for (const std::string& each : prefixes) {
    for (const std::string& lib : mLibDirs) {
      for (const std::string& version : versions) {
        addLibraryDirs(each + "/" + lib + "/" + version, dirs);
      }
    }
  }
  if (!dirs.empty()) return true;
  error_output(1, __func__, __LINE__, "param %s package path failed", mPythonName.c_str());
  return false;
}

void CollectPythonPackage::addLibraryDirs(const std::string& dir, std::vector<std::string>& dirs) {
  const auto add = [&dirs](const std::string& path) {
    if (existsInspected(path)) {
      dirs.push_back(path);
      return true;
    }
    error_output(1, "paramPythonPackagePath", __LINE__, "param %s package path is invalid",
                 path.c_str());
    return false;
  };
  if (!add(dir)) return;
  for (const std::string& site : mSiteDirs) add(dir + "/" + site);
}

bool CollectPythonPackage::getPythonAllDirs(const std::vector<std::string>& dirs,
                                            std::vector<std::string>& files) {
  if (dirs.empty()) {
    error_output(0, __func__, __LINE__, "packagePath is empty");
    return false;
  }
  const auto tell = [](const std::string& path) {
    error_output(2, "getPythonAllDirs", __LINE__, "get dir %s python package dir path failed",
                 path.c_str());
  };
  std::vector<std::string> found;
  for (const std::string& dir : dirs) {
    if (!getDirAllDirs(dir, found)) tell(dir);
  }
  if (found.empty()) {
    error_output(0, __func__, __LINE__, "packageDirPaths is empty");
    return false;
  }
  for (const std::string& path : found) {
    if (!getCharacterFile(path, files)) tell(path);
  }
  if (!files.empty()) return true;
  error_output(0, __func__, __LINE__, "character file Path is empty");
  return false;
}

bool CollectPythonPackage::getDirAllDirs(const std::string& dir, std::vector<std::string>& found) {
  if (dir.empty()) error_output(1, __func__, __LINE__, "dir path is empty");
  return forEachEntry(dir, [this, &found](const std::string& path, auto modeOf) {
    if (!namesMetadata(path)) return true;
    const mode_t mode = modeOf();
    if (S_ISDIR(mode) || S_ISREG(mode)) found.push_back(path);
    return found.size() < kMaximumPackageEntries;
  });
}

bool CollectPythonPackage::getCharacterFile(const std::string& path,
                                            std::vector<std::string>& files) {
  if (path.empty()) error_output(1, __func__, __LINE__, "dir path is empty");
  struct stat status {};
  if (lstatInspected(path, status) == 0 && S_ISREG(status.st_mode)) {
    error_output(2, __func__, __LINE__, "file path is %s .", path.c_str());
    files.push_back(path);
    return true;
  }
  // The whole path is looked at, not only the name: in a directory that bears
  // such a word itself the first file is taken, whatever it is.
  const bool opened = forEachEntry(path, [this, &files](const std::string& entry, auto modeOf) {
    if (!holdsOneOf(dropEnvPath(getMEnv(), entry), kMetadataFiles)) return true;
    if (!S_ISREG(modeOf())) return true;
    error_output(2, "getCharacterFile", __LINE__, "character file path is %s.", entry.c_str());
    files.push_back(entry);
    return false;
  });
  if (!opened) error_output(1, __func__, __LINE__, "open dir %s failed", path.c_str());
  return opened;
}

}  // namespace LedgoraCollect
