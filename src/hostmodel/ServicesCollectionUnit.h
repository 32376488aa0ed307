#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "hostmodel/CollectionBase.h"
#include "hostmodel/ProcessCacheUnit.h"
#include "hostmodel/ServerInfo.h"
#include "hostmodel/ServiceCacheUnit.h"

namespace LedgoraCollect {

/// Where services are defined.
enum SERVICE_TYPE {
  SERVICE_TYPE_SYSTEMCTL = 1,  // systemd unit files
  SERVICE_TYPE_SERVICE = 2     // init scripts
};

/// One kind of source of services, read from files of the inspected root.
class ServicesCollectionUnit : public CollectionBase {
 public:
  using Processes = std::map<int, ProcessCacheUnit>;

  ServicesCollectionUnit() = default;
  ServicesCollectionUnit(const ServicesCollectionUnit&) = delete;
  ServicesCollectionUnit& operator=(const ServicesCollectionUnit&) = delete;
  virtual ~ServicesCollectionUnit() = default;

  /// Appends the services that the source defines. `seen` holds name and
  /// executable, joined, of those that are there; they aren't appended twice.
  /// The state comes from `processes`. True when the source answers the
  /// question, so that no other needs to be asked.
  virtual bool collectServices(std::vector<ServiceCacheUnit>& services, std::set<std::string>& seen,
                               const Processes& processes) = 0;

  /// A new source of that kind, which the caller owns; null for other values.
  static ServicesCollectionUnit* getInstance(int type);

  /// The first process, by pid, of exactly that name. False when there is none.
  static bool getProcessByProcessName(const std::string& name, const Processes& processes,
                                      ProcessCacheUnit& out);
  /// The first process, by pid, of exactly that executable.
  static bool getProcessByProcessPath(const std::string& path, const Processes& processes,
                                      ProcessCacheUnit& out);
  /// Copies a record into a unit.
  static void getCacheUnit(const SERVER_INFO_S& record, ServiceCacheUnit& unit);

 protected:
  using EntryCallback = bool (*)(const std::string& path, void* context);

  /// Walks one directory of the inspected root; a failure only costs a message.
  bool parseServiceDir(const std::string& directory, EntryCallback callback, void* context) const;
  /// Takes executable, state and start time from a process.
  static void takeProcess(const ProcessCacheUnit& process, ServiceCacheUnit& unit);
  /// Notes the unit in `seen`. False when it was there already.
  static bool isNew(const ServiceCacheUnit& unit, std::set<std::string>& seen);
};

}  // namespace LedgoraCollect
