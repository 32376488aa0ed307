#pragma once

#include <string>
#include <vector>

#include "run/InfoDefinition.h"

namespace LedgoraCollect {

/// One mounted file system as the document lists it.
struct PARTITION_INFO_S {
  std::string fileSystem;
  std::string mountPoint;
  std::string partitionName;  // the device, as the mount table names it
  std::string totalCapacity;  // mebibytes with "MB" behind
  std::string usedCapacity;
};

/// How busy the machine is: the document of type 2. The texts carry their unit.
class SysStatusInfoDefinition : public InfoDefinition {
 public:
  const std::string& getCpuModel() const { return mCpuModel; }
  void setCpuModel(const std::string& value) { mCpuModel = value; }
  void setCpuTotal(const std::string& value) { mCpuTotal = value; }
  void setCpuUsed(const std::string& value) { mCpuUsed = value; }
  void setDiskTotal(const std::string& value) { mDiskTotal = value; }
  void setDiskUsed(const std::string& value) { mDiskUsed = value; }
  void setLoadAverage(const std::string& value) { mLoadAverage = value; }
  void setMemTotal(const std::string& value) { mMemTotal = value; }
  void setMemUsed(const std::string& value) { mMemUsed = value; }
  void setActiveState(const std::string& value) { mActiveState = value; }
  void setUpTime(long long seconds) { mUpTime = seconds; }
  void setShutDownTime(long long milliseconds) { mShutDownTime = milliseconds; }
  /// Appends one partition.
  void setDiskDriver(const PARTITION_INFO_S& partition) { mPartitions.push_back(partition); }

  /// Adds the members to `root`; at most E_HOST_STATUS_MOUNT partitions.
  int dataToJson(cJSON* root) override;

 private:
  void addPartitions(cJSON* root) const;

  std::string mCpuModel;
  std::string mCpuTotal;
  std::string mCpuUsed;
  std::string mDiskTotal;
  std::string mDiskUsed;
  std::vector<PARTITION_INFO_S> mPartitions;
  std::string mLoadAverage;
  std::string mMemTotal;
  std::string mMemUsed;
  std::string mActiveState;  // nothing sets it: always empty in the document
  long long mUpTime = 0;
  long long mShutDownTime = 0;
};

}  // namespace LedgoraCollect
