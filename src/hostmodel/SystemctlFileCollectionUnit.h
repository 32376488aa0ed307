#pragma once

#include <string>

#include "hostmodel/FileCollectionUnit.h"
#include "hostmodel/ServicesCollectionUnit.h"

namespace LedgoraCollect {

/// Services from systemd unit files.
class SystemctlFileCollectionUnit : public ServicesCollectionUnit {
 public:
  /// True when there is at least one service.
  bool collectServices(std::vector<ServiceCacheUnit>& services, std::set<std::string>& seen,
                       const Processes& processes) override;

  /// Fills the unit from the unit file at `path` (prefix included) and from
  /// its process. An unreadable file leaves the unit as it is.
  void getServiceCacheInfo(const std::string& path, ServiceCacheUnit& unit,
                           const Processes& processes);

  /// Sets the executable from an ExecStart value: the first word with a path
  /// that isn't a shell's, without what stands in front of its first "/".
  /// False when there is none.
  static bool getServicePath(const std::string& execStart, ServiceCacheUnit& unit);
  /// False for the path of a shell, which is not the program.
  static bool checkServicePath(const std::string& path);
  /// The service's name from a unit file's; false for other files.
  static bool parseUnitName(const std::string& fileName, std::string& serverName);

 private:
  static bool unitFileCB(const std::string& path, void* context);
  static bool getServiceUser(const std::string& path, std::string& user);
  bool readPidFile(const std::string& path, int& pid) const;
  bool getServicePidInfoByFile(const std::string& path, ServiceCacheUnit& unit,
                               const Processes& processes) const;
  static void getServiceStatusByProcess(ServiceCacheUnit& unit, const Processes& processes);

  FileCollectionUnit mFileUnit;
};

}  // namespace LedgoraCollect
