#include "collect/CollectPythonPackage.h"

#include <string_view>

#include "collect/python/MetadataLine.h"
#include "collect/support/JsonMembers.h"
#include "collect/support/RootFile.h"
#include "collect/support/TextLines.h"
#include "common/InspectedRoot.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "run/CollectLimit.h"
#include "run/ListDocument.h"

namespace LedgoraCollect {

namespace {

constexpr int kDefaultPackageCount = 1024;
// Name and version stand at the top of a metadata file; what comes later in
// the file isn't looked at.
constexpr int kHeadLines = 10;
constexpr std::size_t kHeadBytes = kHeadLines * kLineBufferBytes;

constexpr struct {
  const char* key;
  std::string PYTHON_PACKAGE_INFO_S::*field;
} kMembers[] = {
    {"package_name", &PYTHON_PACKAGE_INFO_S::name},
    {"python_type", &PYTHON_PACKAGE_INFO_S::pythonType},
    {"package_path", &PYTHON_PACKAGE_INFO_S::path},
    {"package_scope", &PYTHON_PACKAGE_INFO_S::scope},
    {"package_version", &PYTHON_PACKAGE_INFO_S::version},
};

/// Reads name and version from the first lines. False if one is missing or the
/// file is the interpreter's own.
bool readHead(std::string_view text, PythonMetadata_S& metadata) {
  int left = kHeadLines;
  bool complete = false;
  forEachBufferLine(text, [&](std::string_view line) {
    if (takeMetadataLine(line, metadata) == MetadataLine::WithoutValue) {
      error_output(1, "ParsePackageContent", __LINE__, "parse package content failed line is %s",
                   std::string(line).c_str());
    }
    if (isPythonItself(metadata.name)) {
      error_output(1, "getPythonPackageByFile", __LINE__, "collect python package name is %s",
                   metadata.name.c_str());
      return false;
    }
    complete = !metadata.name.empty() && !metadata.version.empty();
    return !complete && --left > 0;
  });
  return complete;
}

}  // namespace

bool CollectPythonPackage::init() {
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_PYTHON_PACKAGE);
  if (limit == 0) error_output(1, __func__, __LINE__, "get collectLimit nHostPython failed");
  mMaxPackageCount = limit != 0 ? limit : kDefaultPackageCount;
  mLibDirs = {"lib64", "lib"};
  mSiteDirs = {"site-packages", "site-python", "lib-dynload", "dist-packages"};
  return true;
}

bool CollectPythonPackage::collectImple(cJSON* root) {
  // The number in these two messages is that of another type; readers of the
  // log know them so.
  error_output(2, __func__, __LINE__, "collect type_24 Python Package start!");
  Packages packages;
  getHostPythonPackage(packages);
  if (packages.empty()) error_output(1, __func__, __LINE__, "pyPackage2Json is empty");
  const int result = dataToJson(&packages, root);
  if (result != 0) {
    error_output(0, __func__, __LINE__, "Failed to get json result, error code=%d", result);
    return false;
  }
  error_output(2, __func__, __LINE__, "collect type_24 Python Package end!");
  return true;
}

// Both say it when an interpreter's packages can't be had: the message is
// there twice.
void CollectPythonPackage::getHostPythonPackage(Packages& packages) {
  mCommands = CommandLocator(getMEnv());
  if (!getPython2Package(packages)) {
    error_output(1, __func__, __LINE__, "get python2 package failed");
  }
  if (!getPython3Package(packages)) {
    error_output(1, __func__, __LINE__, "get python3 package failed");
  }
}

bool CollectPythonPackage::getPython2Package(Packages& packages) {
  mPythonName = "python2";
  if (getPythonPackage(packages)) return true;
  error_output(1, __func__, __LINE__, "get python2 package failed");
  return false;
}

bool CollectPythonPackage::getPython3Package(Packages& packages) {
  mPythonName = "python3";
  if (getPythonPackage(packages)) return true;
  error_output(1, __func__, __LINE__, "get python3 package failed");
  return false;
}

bool CollectPythonPackage::getPythonPackage(Packages& packages) {
  std::vector<std::string> dirs;
  if (!getPythonPackagePath(dirs)) {
    error_output(1, __func__, __LINE__, "get %s package path failed", mPythonName.c_str());
    return false;
  }
  std::vector<std::string> files;
  if (!getPythonAllDirs(dirs, files)) {
    error_output(1, __func__, __LINE__, "get %s package dir paths failed", mPythonName.c_str());
    return false;
  }
  auto file = files.cbegin();
  while (static_cast<long long>(packages.size()) < mMaxPackageCount) {
    if (file == files.cend()) return true;
    if (!getPythonPackageByFile(*file, packages)) {
      error_output(1, __func__, __LINE__, "para file %s failed ", file->c_str());
    }
    ++file;
  }
  error_output(1, __func__, __LINE__, "get python package is more than %d", mMaxPackageCount);
  return true;
}

bool CollectPythonPackage::getPythonPackageByFile(const std::string& file, Packages& packages) {
  if (file.empty()) {
    error_output(0, __func__, __LINE__, "characterPattern or filePath is empty");
    return false;
  }
  std::string text;
  if (!readRootFile("", file, kHeadBytes, text)) {  // the path has its root in front already
    error_output(1, __func__, __LINE__, "open file %s failed.", file.c_str());
    return false;
  }
  PythonMetadata_S metadata;
  if (!readHead(text, metadata)) return false;
  PYTHON_PACKAGE_INFO_S record;
  record.pythonType = mPythonName;
  record.name = metadata.name;
  record.version = metadata.version;
  record.scope = "global";
  ParsePackagePath(file, record);
  record.path = dropEnvPath(getMEnv(), record.path);
  error_output(2, __func__, __LINE__, "collect package %s and file path is %s.",
               record.name.c_str(), file.c_str());
  packages.push_back(std::move(record));
  return true;
}

void CollectPythonPackage::ParsePackagePath(const std::string& file,
                                            PYTHON_PACKAGE_INFO_S& record) {
  record.path = file;
  const std::size_t slash = file.rfind('/');
  if (slash == std::string::npos) return;
  const std::string dir = file.substr(0, slash);
  record.path = dir;
  if (!namesMetadata(dir)) return;
  const std::size_t parentSlash = dir.rfind('/');
  if (parentSlash == std::string::npos) {
    record.path = file;
    return;
  }
  const std::string parent = dir.substr(0, parentSlash);
  record.path = parent + "/" + record.name;
  if (existsInspected(record.path)) return;
  error_output(1, __func__, __LINE__, "path %s is invalid", record.path.c_str());
  record.path = parent;
}

int CollectBase::dataToJson(std::vector<PYTHON_PACKAGE_INFO_S>* list, cJSON* root) {
  ListDocument document(__func__);
  if (!document) return -1;
  for (PYTHON_PACKAGE_INFO_S& package : *list) {
    package.name = StringUtils::trim(package.name, " \r\n\t");
    if (package.name.empty()) continue;
    cJSON* const object = document.append();
    if (object == nullptr) break;
    for (const auto& member : kMembers) addText(object, member.key, package.*member.field);
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
