#pragma once

#include <cjson/cJSON.h>

#include <string>
#include <vector>

#include "package/SoftwarePkgCache.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// One installed package as the document has it. All text.
struct INSTALL_PACKAGE_INFO_S {
  std::string name;
  std::string version;
  std::string installTime;  ///< milliseconds since the epoch
  std::string type;         ///< "rpm" or "dpkg"
  std::string description;
  std::string size;      ///< rpm: bytes, dpkg: KiB
  std::string hostType;  ///< "server", "pc" or empty
  std::string confPath;  ///< the first configuration file
  std::string classifyId;
  std::string belong;  ///< "0" for a package of the base system, else "1"
};

/// One element of the filter file.
struct _BLACK_SOFTWARE_ {
  std::string osName;  ///< the last "os_name" read
  std::vector<std::string> uosDesktop;
  std::vector<std::string> uosServer;
  std::vector<std::string> kylinDesktop;
  std::vector<std::string> kylinServer;
  std::vector<std::string> belong;
};

/// Type 23: the packages that the package cache knows. Option bit 1 makes it a
/// report of desktop applications: the owners of the files in
/// /usr/share/applications/, without the names that the filter file excludes.
class CollectInstallPackage : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  /// Appends what the "filter" array of a filter file says. An unknown
  /// "os_name" is ignored.
  static void analysisJsonFilter(cJSON* filter, _BLACK_SOFTWARE_& lists);
  /// One entry per element of the file's array.
  static void analysisJsonFile(cJSON* file, std::vector<_BLACK_SOFTWARE_>& entries);
  /// The exclusion list for a machine; null if there is none.
  static const std::vector<std::string>* chooseBlackList(const _BLACK_SOFTWARE_& lists,
                                                         const std::string& osName,
                                                         const std::string& hostType);

 private:
  /// Appends the packages to report; true if there are any.
  bool getInstallPackageInfo(std::vector<INSTALL_PACKAGE_INFO_S>& list);
  void getOsNameBlackName(std::vector<std::string>& blackList,
                          std::vector<std::string>& belongList);
  /// False only if the filter file can't be read.
  bool readBlackSoftwareJson(std::vector<_BLACK_SOFTWARE_>& entries,
                             std::vector<std::string>& belongList);
  void initInstallPkgInfo(INSTALL_PACKAGE_INFO_S& record, const SoftwarePkgCacheUnit& unit) const;

  std::string mHostType;
  std::string mOsName;
  SoftwarePkgCache mPkgCache;
};

}  // namespace LedgoraCollect
