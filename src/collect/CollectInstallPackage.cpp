#include "collect/CollectInstallPackage.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "collect/CollectSystemInfo.h"
#include "common/support/Handles.h"
#include "common/support/InstallPath.h"
#include "common/support/Log.h"
#include "run/CollectJsonUtil.h"
#include "run/CollectLimit.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kFilterFile = "@/../config/rule/pkg_install/pkg_filter.json";
/// An installation whose path doesn't fit has no filter.
constexpr std::size_t kFilterPathBytes = 256;
constexpr const char* kDesktopDirectory = "/usr/share/applications/";
constexpr int kDesktopOption = 1;
constexpr const char* kUnknownSoftwareClass = "10400012";

std::string filterFilePath() {
  char path[kFilterPathBytes] = {};
  dirutils_path_transform(kFilterFile, path, sizeof(path));
  return path;
}

// Kylin servers use the desktop list too. The list for "kylin_server" is read
// and never chosen: existing filter files are written with that in mind.
constexpr struct {
  const char* osWord;
  const char* hostType;
  std::vector<std::string> _BLACK_SOFTWARE_::*list;
} kBlackLists[] = {
    {"uos", "server", &_BLACK_SOFTWARE_::uosServer},
    {"uos", "pc", &_BLACK_SOFTWARE_::uosDesktop},
    {"kylin", "server", &_BLACK_SOFTWARE_::kylinDesktop},
    {"kylin", "pc", &_BLACK_SOFTWARE_::kylinDesktop},
};

}  // namespace

bool CollectInstallPackage::collectImple(cJSON* root) {
  setenv("LANG", "en_US.UTF-8", 1);  // the language of rpm's descriptions
  CollectSystemInfo system;
  system.setEnv(getMEnv());
  mHostType = system.getHostType();
  mOsName = system.getOsName();
  std::vector<INSTALL_PACKAGE_INFO_S> list;
  getInstallPackageInfo(list);
  const int result = dataToJson(&list, root);
  if (result == 0) return true;
  error_output(0, __func__, __LINE__,
               "[CollectInstallPackage]Failed to get json result, error code=%d", result);
  return false;
}

bool CollectInstallPackage::readBlackSoftwareJson(std::vector<_BLACK_SOFTWARE_>& entries,
                                                  std::vector<std::string>& belongList) {
  const JsonHandle file(ParseJsonFile(filterFilePath().c_str()));
  if (!file) return false;
  analysisJsonFile(file.get(), entries);
  if (!entries.empty()) belongList = entries.front().belong;
  return true;
}

const std::vector<std::string>* CollectInstallPackage::chooseBlackList(
    const _BLACK_SOFTWARE_& lists, const std::string& osName, const std::string& hostType) {
  const std::string word = osName.find("uos") != std::string::npos     ? "uos"
                           : osName.find("kylin") != std::string::npos ? "kylin"
                                                                       : "";
  for (const auto& row : kBlackLists) {
    if (word == row.osWord && hostType == row.hostType) return &(lists.*row.list);
  }
  return nullptr;
}

void CollectInstallPackage::getOsNameBlackName(std::vector<std::string>& blackList,
                                               std::vector<std::string>& belongList) {
  std::vector<_BLACK_SOFTWARE_> entries;
  if (!readBlackSoftwareJson(entries, belongList)) {
    error_output(1, __func__, __LINE__, "[CollectInstallPackage]Failed to load file %s",
                 filterFilePath().c_str());
    return;
  }
  if (entries.empty()) {
    error_output(1, __func__, __LINE__, "[CollectInstallPackage]softBlackName empty");
    return;
  }
  if ((getOption() & kDesktopOption) == 0) return;
  // Only the first element of the file has any effect.
  const std::vector<std::string>* chosen = chooseBlackList(entries.front(), mOsName, mHostType);
  if (chosen != nullptr) blackList = *chosen;
}

void CollectInstallPackage::initInstallPkgInfo(INSTALL_PACKAGE_INFO_S& record,
                                               const SoftwarePkgCacheUnit& unit) const {
  record.name = unit.getPackageName();
  record.description = unit.getPackageDescription();
  record.version = unit.getPackageVersion();
  record.type = unit.getPackageType();
  record.size = unit.getPackageSize();
  record.installTime = unit.getPackageInstallTime();
  record.classifyId = kUnknownSoftwareClass;
  if (!unit.getPackageConfigFiles().empty()) {
    record.confPath = unit.getPackageConfigFiles().front();
  }
  record.hostType = mHostType;
}

bool CollectInstallPackage::getInstallPackageInfo(std::vector<INSTALL_PACKAGE_INFO_S>& list) {
  std::vector<std::string> blackList;
  std::vector<std::string> belongList;
  getOsNameBlackName(blackList, belongList);
  const std::set<std::string> excluded(blackList.begin(), blackList.end());
  const std::set<std::string> base(belongList.begin(), belongList.end());

  mPkgCache.setEnvironment(getMEnv());
  std::vector<SoftwarePkgCacheUnit> packages;
  const bool desktopOnly = (getOption() & kDesktopOption) != 0;
  mPkgCache.getPackageInfo(packages, desktopOnly ? kDesktopDirectory : nullptr);

  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_INSTALL_PACKAGE);
  for (const SoftwarePkgCacheUnit& package : packages) {
    if (static_cast<long>(list.size()) >= limit) break;
    if (excluded.count(package.getPackageName()) != 0) continue;
    INSTALL_PACKAGE_INFO_S record;
    initInstallPkgInfo(record, package);
    record.belong = base.count(record.name) != 0 ? "0" : "1";
    list.push_back(std::move(record));
  }
  return !list.empty();
}

}  // namespace LedgoraCollect
