#pragma once

#include <string>
#include <vector>

#include "collect/SysStatusInfoDefinition.h"
#include "collect/status/FileSystemSizes.h"
#include "collect/status/MountTable.h"
#include "collect/status/ProcFigures.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// Type 2: load, memory, processors, partitions, uptime and last shutdown.
/// Takes one second, in which the use of the processors is measured. A source
/// that fails leaves its fields empty.
class CollectSystemStatus : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  void getSystemStatus();

 private:
  /// Sources: /proc/cpuinfo, else lscpu and dmidecode; /proc/stat.
  void getSystemCpuInfo();
  /// Percentage of the next second in which the processors aren't idle.
  double getSysCpuUsage() const;
  void getCpuoccupy(_CPU_MODEL_INFO_& times) const;
  std::string askCpuModel() const;
  double askFrequencyGhz() const;
  /// Source: /etc/mtab, and the kernel for the sizes.
  void getSystemMountInfo();
  void getPartitionDiskInfo(const std::vector<_DISK_PATION_INFO_>& mounts);
  /// Source: /proc/meminfo.
  void getSystemMemInfo();
  /// Source: /proc/loadavg.
  void getSystemAvgLoad();
  /// Source: sysinfo(), so always the running kernel.
  void getSystemUpdateTime();
  /// Source: /var/log/wtmp.
  void getLastShutdownTime();

  SysStatusInfoDefinition mStatus;
};

}  // namespace LedgoraCollect
