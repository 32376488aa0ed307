#include "collect/CollectSystemStatus.h"

#include <sys/sysinfo.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>

#include "collect/status/ShutdownRecord.h"
#include "collect/support/RootFile.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "hostmodel/CmdCollectionUnit.h"
#include "hostmodel/DiskDetailCollection.h"

namespace LedgoraCollect {

namespace {

constexpr char kMountTable[] = "/etc/mtab";
constexpr char kLoginRecords[] = "/var/log/wtmp";
constexpr char kModelCommand[] = "lscpu | grep \"Model name\" |head -n 1| awk -F ': ' '{print $2}'";
constexpr char kSpeedCommand[] = "dmidecode -t processor|grep \"Max Speed\"|awk '{print $3}'";
constexpr int kCommandSeconds = 30;
constexpr int kWaitStep = 5;
constexpr std::size_t kSpeedBytes = 0x10000;
constexpr double kGibibytesPerMebibyte = 0.0009765625;

std::string gigahertz(double value) { return std::to_string(value) + "GHZ"; }

std::string gigabytes(double value) {
  char text[400];  // the longest double has 309 digits in front of the point
  std::snprintf(text, sizeof(text), "%.2fGB", value);
  return text;
}

std::uint64_t usedMebibytes(const FileSystemSize_S& size) {
  // A file system in user space can claim more free blocks than it has.
  if (size.freeBlocks > size.blocks) return 0;
  return (size.blocks - size.freeBlocks) * size.blockBytes >> 20;
}

PARTITION_INFO_S partitionOf(const _DISK_PATION_INFO_& mount, const FileSystemSize_S& size,
                             const std::string& env) {
  PARTITION_INFO_S partition;
  partition.fileSystem = mount.fileSystem;
  // The root itself is "/", not the empty text that is left of it.
  const std::string mountPoint = CollectBase::dropEnvPath(env, mount.mountPath);
  partition.mountPoint = mountPoint.empty() ? "/" : mountPoint;
  partition.partitionName = mount.device;
  partition.totalCapacity = std::to_string(size.blocks * size.blockBytes >> 20) + "MB";
  partition.usedCapacity = std::to_string(usedMebibytes(size)) + "MB";
  return partition;
}

/// The used space of devices, each counted once however often it is mounted.
class DeviceUse {
 public:
  void add(const std::string& device, const FileSystemSize_S& size) {
    if (device.compare(0, 5, "/dev/") != 0 || size.blocks * size.blockBytes == 0) return;
    if (!mSeen.insert(device).second) {
      error_output(
          2, "getPartitionDiskInfo", __LINE__,
          "[CollectSystemStatus]Partition %s already visited, do not count used size again",
          device.c_str());
      return;
    }
    mMebibytes += usedMebibytes(size);
  }
  std::uint64_t mebibytes() const { return mMebibytes; }

 private:
  std::set<std::string> mSeen;
  std::uint64_t mMebibytes = 0;
};

/// Says why a mount has no record: true when it has none.
bool isLeftOut(const _DISK_PATION_INFO_& mount, const FileSystemSize_S& size) {
  if (!size.known) {
    error_output(1, "getPartitionDiskInfo", __LINE__,
                 "[CollectSystemStatus]failed to get path %s info!", mount.mountPath.c_str());
    return true;
  }
  if (size.blocks == 0) {
    error_output(1, "getPartitionDiskInfo", __LINE__, "[CollectSystemStatus]path %s no size value!",
                 mount.mountPath.c_str());
    return true;
  }
  return false;
}

/// True for a mount that takes part in the list.
bool isListed(const _DISK_PATION_INFO_& mount) {
  if (isNfs(mount)) {
    error_output(2, "getSystemMountInfo", __LINE__, "[CollectSystemStatus]skip nfs mount: %s - %s",
                 mount.device.c_str(), mount.mountPath.c_str());
    return false;
  }
  if (isBinfmtMisc(mount)) return false;
  error_output_text(2, "getSystemMountInfo", __LINE__,
                    "[CollectSystemStatus]found mount %  path :" + mount.mountPath);
  return true;
}

}  // namespace

bool CollectSystemStatus::collectImple(cJSON* root) {
  getSystemStatus();
  const int result = mStatus.dataToJson(root);
  if (result != 0) {
    error_output(0, __func__, __LINE__,
                 "[CollectSystemStatus]Failed to get json result, error code=%d", result);
    return false;
  }
  error_output(2, __func__, __LINE__,
               "[CollectSystemStatus]success to collect host status to json data!");
  return true;
}

void CollectSystemStatus::getSystemStatus() {
  getSystemCpuInfo();
  getSystemMountInfo();
  getSystemMemInfo();
  getSystemAvgLoad();
  getSystemUpdateTime();
  getLastShutdownTime();
}

void CollectSystemStatus::getSystemCpuInfo() {
  std::string text;
  readRootFile(getMEnv(), "/proc/cpuinfo", kMaximumTextBytes, text);
  CpuDescription_S cpu = parseCpuInfo(text);
  if (cpu.model.empty()) cpu.model = askCpuModel();
  if (!(cpu.frequencyGhz > 0)) cpu.frequencyGhz = askFrequencyGhz();
  const double total = static_cast<double>(::sysconf(_SC_NPROCESSORS_CONF)) * cpu.frequencyGhz;
  mStatus.setCpuModel(cpu.model);
  mStatus.setCpuTotal(gigahertz(total));
  mStatus.setCpuUsed(gigahertz(getSysCpuUsage() / 100 * total));
}

std::string CollectSystemStatus::askCpuModel() const {
  ::setenv("LANG", "en_US.UTF-8", 1);
  CmdCollectionUnit commands;
  commands.setEnvironment(getMEnv());
  std::vector<std::string> lines;
  if (!commands.executeCmd(kModelCommand, lines, kCommandSeconds, kWaitStep, nullptr) ||
      lines.empty()) {
    error_output(0, __func__, __LINE__, "[CollectSystemStatus]exec cmd: %s error.", kModelCommand);
    return "";
  }
  return StringUtils::trim(lines.front(), " \r\n\t");
}

double CollectSystemStatus::askFrequencyGhz() const {
  CmdCollectionUnit commands;
  commands.setEnvironment(getMEnv());
  std::vector<char> output(kSpeedBytes);
  if (!commands.executeCmd(kSpeedCommand, output.data(), static_cast<int>(output.size()),
                           kCommandSeconds, kWaitStep, nullptr)) {
    return 0;
  }
  return std::strtod(output.data(), nullptr) / 1000;
}

double CollectSystemStatus::getSysCpuUsage() const {
  _CPU_MODEL_INFO_ first;
  _CPU_MODEL_INFO_ second;
  getCpuoccupy(first);
  ::sleep(1);
  getCpuoccupy(second);
  return calCpuUse(first, second);
}

void CollectSystemStatus::getCpuoccupy(_CPU_MODEL_INFO_& times) const {
  constexpr std::size_t kFirstLineBytes = 4096;
  std::string text;
  if (readRootFile(getMEnv(), "/proc/stat", kFirstLineBytes, text)) times = parseCpuTimes(text);
}

void CollectSystemStatus::getSystemMountInfo() {
  std::string text;
  if (!readRootFile(getMEnv(), kMountTable, kMaximumTextBytes, text)) {
    error_output_text(0, __func__, __LINE__,
                      std::string("[CollectSystemStatus]failed to read % file! ") + kMountTable);
    return;
  }
  std::vector<_DISK_PATION_INFO_> listed;
  for (_DISK_PATION_INFO_& mount : parseMountTable(text)) {
    if (isListed(mount)) listed.push_back(std::move(mount));
  }
  getPartitionDiskInfo(listed);
}

void CollectSystemStatus::getPartitionDiskInfo(const std::vector<_DISK_PATION_INFO_>& mounts) {
  error_output(2, __func__, __LINE__, "[CollectSystemStatus]start get partition info");
  std::vector<std::string> mountPaths;
  for (const _DISK_PATION_INFO_& mount : mounts) mountPaths.push_back(mount.mountPath);
  const std::vector<FileSystemSize_S> sizes = askFileSystemSizes(getMEnv(), mountPaths);
  DeviceUse use;
  for (std::size_t i = 0; i < mounts.size(); ++i) {
    const char* const mountPath = mounts[i].mountPath.c_str();
    error_output(2, __func__, __LINE__, "[CollectSystemStatus]get partition %s info", mountPath);
    if (isLeftOut(mounts[i], sizes[i])) continue;
    use.add(mounts[i].device, sizes[i]);
    const PARTITION_INFO_S partition = partitionOf(mounts[i], sizes[i], getMEnv());
    mStatus.setDiskDriver(partition);
    error_output(2, __func__, __LINE__, "[CollectSystemStatus]get partition %s total %s, used %s",
                 mountPath, partition.totalCapacity.c_str(), partition.usedCapacity.c_str());
  }
  DiskDetailCollection disks;
  disks.setEnvironment(getMEnv());
  disks.collectDiskSummary();
  mStatus.setDiskTotal(gigabytes(disks.getTotalSize()));
  mStatus.setDiskUsed(gigabytes(static_cast<double>(use.mebibytes()) * kGibibytesPerMebibyte));
}

void CollectSystemStatus::getSystemMemInfo() {
  std::string text;
  if (!readRootFile(getMEnv(), "/proc/meminfo", kMaximumTextBytes, text)) {
    error_output(0, __func__, __LINE__, "[CollectSystemStatus]open meminfo file failed");
    return;
  }
  const MemoryFigures_S memory = parseMemInfo(text);
  mStatus.setMemTotal(memory.total);
  mStatus.setMemUsed(memory.used);
}

void CollectSystemStatus::getSystemAvgLoad() {
  constexpr std::size_t kLoadBytes = 4096;
  std::string text;
  if (readRootFile(getMEnv(), "/proc/loadavg", kLoadBytes, text)) {
    mStatus.setLoadAverage(parseLoadAverage(text));
  }
}

void CollectSystemStatus::getSystemUpdateTime() {
  struct sysinfo system {};
  if (::sysinfo(&system) == 0) mStatus.setUpTime(system.uptime);
}

void CollectSystemStatus::getLastShutdownTime() {
  constexpr std::size_t kBytes = std::size_t{kLoginRecordsRead} * kLoginRecordBytes;
  std::string bytes;
  if (!readRootFile(getMEnv(), kLoginRecords, kBytes, bytes)) {
    error_output(1, __func__, __LINE__, "[CollectSystemStatus]utmpname failed path is %s",
                 addEnvPath(getMEnv(), kLoginRecords).c_str());
  }
  const ShutdownRecord_S shutdown = findShutdown(bytes);
  if (shutdown.dataEnded) {
    error_output(1, __func__, __LINE__, "[CollectSystemStatus]getutent is NULL");
  }
  if (!shutdown.found) return;
  mStatus.setShutDownTime(static_cast<long long>(shutdown.seconds) * 1000);
  error_output(2, __func__, __LINE__,
               "[CollectSystemStatus]last shutdown time is %d, read count is %d.", shutdown.seconds,
               shutdown.recordsRead);
}

}  // namespace LedgoraCollect
