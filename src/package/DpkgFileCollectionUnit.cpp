#include "package/DpkgFileCollectionUnit.h"

#include "common/support/Log.h"
#include "hostmodel/PathCollectionUnit.h"
#include "package/DpkgStanza.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kStatusFile = "/var/lib/dpkg/status";
constexpr const char* kInfoDirectory = "/var/lib/dpkg/info/";

/// What one package contributes at most, in the order of its list; the rest is
/// unknown to the cache.
constexpr std::size_t kFilesOfPackage = 1024;

}  // namespace

bool DpkgFileCollectionUnit::isDpkgAvailabe() const {
  PathCollectionUnit paths;
  paths.setEnvironment(environment);
  paths.setTarget(target);
  return paths.isExistDirect(kStatusFile);
}

bool DpkgFileCollectionUnit::loadDpkgList(const char* path) {
  mDpkgList.clear();
  mFirstOfName.clear();
  S_DPKG_STATUS_PARAM pass{};
  pass.owner = this;
  pass.filterPath = path;
  error_output(2, __func__, __LINE__, "[DPKG]get all dpkg by read dpkg status file.");
  const bool opened = readFileLines(kStatusFile, dpkgStatusFileCB, &pass);
  error_output(2, __func__, __LINE__,
               opened ? "[DPKG]success to read all dpkg by read dpkg status file."
                      : "[DPKG]failed to read all dpkg by read dpkg status file.");
  // The stanza that is still in the buffer is never taken over: the last
  // package of the file isn't reported. Consumers rely on the list as it is.
  return opened;
}

bool DpkgFileCollectionUnit::readLineDpkgStatusFile(const std::string& line,
                                                    S_DPKG_STATUS_PARAM* pass) {
  const std::string text = line.c_str();  // up to a zero byte
  if (text.empty()) return false;
  if (DpkgStanza::begins(text)) {
    DpkgStanza::finish(*pass);
    parseDpkgSection(pass);
    DpkgStanza::restart(*pass);
  }
  DpkgStanza::append(text, *pass);
  return false;
}

bool DpkgFileCollectionUnit::parseDpkgSection(S_DPKG_STATUS_PARAM* pass) {
  DPKG_PKG_INFO package;
  switch (DpkgStanza::parse(pass->section, package)) {
    case DpkgStanza::Result::Nameless:
      return false;
    case DpkgStanza::Result::Removed:
      error_output(2, __func__, __LINE__, "[DPKG]found dpkg: %s is removed, not collect!",
                   package.name.c_str());
      return false;
    case DpkgStanza::Result::Complete:
      break;
  }
  package.listPath = getDpkgFileListPath(package);
  if (!package.listPath.empty()) package.installTime = getFileModifyTime(package.listPath);
  if (pass->filterPath != nullptr && isFilteredPkgByPath(pass->filterPath, package)) {
    LEDGORA_DEBUG("[DPKG]found dpkg: %s - version: %s filtered", package.name.c_str(),
                  package.version.c_str());
    return false;
  }
  error_output(2, __func__, __LINE__, "[DPKG]found dpkg: %s - version: %s", package.name.c_str(),
               package.version.c_str());
  mFirstOfName.emplace(package.name, mDpkgList.size());
  mDpkgList.push_back(std::move(package));
  return true;
}

std::string DpkgFileCollectionUnit::getDpkgFileListPath(const DPKG_PKG_INFO& package) const {
  PathCollectionUnit paths;
  paths.setEnvironment(environment);
  paths.setTarget(target);
  const std::string stem = kInfoDirectory + package.name;
  for (const std::string& path : {stem + ".list", stem + ":" + package.architecture + ".list"}) {
    if (paths.isExistDirect(path)) return path;
  }
  error_output(1, __func__, __LINE__, "[DPKG]found dpkg: file list path not found");
  return "";
}

void DpkgFileCollectionUnit::getDpkgPkgCacheUnit(const DPKG_PKG_INFO* package,
                                                 SoftwarePkgCacheUnit& unit) const {
  unit.setPackageSize(package->installedSize);
  unit.setPackageVersion(package->version);
  unit.setPackageName(package->name);
  unit.setPackageInstallTime(package->installTime);
  unit.setPackageDescription(package->description);
  unit.setPackageConfigFiles(package->configFiles);
  unit.setPackageType("dpkg");
  unit.setPackageKey(package->name + package->version + package->installTime +
                     package->installedSize);
}

bool DpkgFileCollectionUnit::loadDpkgFileList(const DPKG_PKG_INFO& package,
                                              const std::string& prefix,
                                              std::vector<std::string>& files,
                                              Filter filter) const {
  const char* path = package.listPath.c_str();
  LEDGORA_DEBUG("[DPKG]start to read dpkg %s file list %s, env: %s, target: %s",
                package.name.c_str(), path, environment.c_str(), target.c_str());
  DPKG_FILE_READ_PARAM pass{this, filter, prefix, &files};
  const bool opened = readFileLines(package.listPath, dpkgInstallFileRead, &pass);
  if (opened) {
    LEDGORA_DEBUG("[DPKG]success to read dpkg %s file list %s", package.name.c_str(), path);
  } else {
    error_output(1, __func__, __LINE__, "[DPKG]failed to read dpkg %s file list %s",
                 package.name.c_str(), path);
  }
  return opened;
}

bool DpkgFileCollectionUnit::readLineDpkgListFile(const std::string& line,
                                                  const std::string& prefix,
                                                  std::vector<std::string>* files,
                                                  Filter filter) const {
  if (line.empty()) return false;
  if (line.compare(0, prefix.size(), prefix) != 0) return false;
  if (filter != nullptr && filter(target, environment, line)) return false;
  files->push_back(line);
  if (files->size() != kFilesOfPackage) return false;
  error_output(1, __func__, __LINE__, "[DPKG]file saved over %d, stop reading",
               static_cast<int>(kFilesOfPackage));
  return true;
}

bool DpkgFileCollectionUnit::getPackageInstallFiles(const std::string& name,
                                                    const std::string& prefix,
                                                    std::vector<std::string>& files,
                                                    Filter filter) const {
  error_output(2, __func__, __LINE__, "[DPKG]start to read dpkg %s file list", name.c_str());
  // Only the first one: two architectures of a package both get its list.
  const auto first = mFirstOfName.find(name);
  if (first != mFirstOfName.end() &&
      loadDpkgFileList(mDpkgList[first->second], prefix, files, filter)) {
    error_output(2, __func__, __LINE__, "[DPKG]success to read dpkg %s file list, read num %zd",
                 name.c_str(), static_cast<ssize_t>(files.size()));
    return true;
  }
  error_output(1, __func__, __LINE__, "[DPKG]failed to read dpkg %s file list", name.c_str());
  return false;
}

bool DpkgFileCollectionUnit::isFilteredPkgByPath(const char* path,
                                                 const DPKG_PKG_INFO& package) const {
  if (path == nullptr) return false;
  std::vector<std::string> files;
  loadDpkgFileList(package, path, files, nullptr);
  if (files.empty()) return true;
  error_output(2, __func__, __LINE__, "[DPKG]Found pkg %s by path %s", package.name.c_str(), path);
  return false;
}

bool dpkgStatusFileCB(const std::string& line, void* context) {
  auto* pass = static_cast<S_DPKG_STATUS_PARAM*>(context);
  return pass->owner->readLineDpkgStatusFile(line, pass);
}

bool dpkgInstallFileRead(const std::string& line, void* context) {
  auto* pass = static_cast<DPKG_FILE_READ_PARAM*>(context);
  return pass->owner->readLineDpkgListFile(line, pass->prefix, pass->files, pass->filter);
}

}  // namespace LedgoraCollect
