#include "collect/SysStatusInfoDefinition.h"

#include "collect/support/JsonMembers.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "run/CollectLimit.h"

namespace LedgoraCollect {

namespace {

constexpr struct {
  const char* key;
  std::string PARTITION_INFO_S::*value;
} kPartitionMembers[] = {
    {"partition_name", &PARTITION_INFO_S::partitionName},
    {"mount_point", &PARTITION_INFO_S::mountPoint},
    {"file_system", &PARTITION_INFO_S::fileSystem},
    {"total_capacity", &PARTITION_INFO_S::totalCapacity},
    {"used_capacity", &PARTITION_INFO_S::usedCapacity},
};

}  // namespace

int SysStatusInfoDefinition::dataToJson(cJSON* root) {
  if (!root) return -1;
  addText(root, "cpu_total", mCpuTotal);
  addText(root, "cpu_used", mCpuUsed);
  addText(root, "cpu_model", mCpuModel);
  addText(root, "mem_total", mMemTotal);
  addText(root, "mem_used", mMemUsed);
  addText(root, "disk_total", mDiskTotal);
  addText(root, "disk_used", mDiskUsed);
  addText(root, "up_time", std::to_string(static_cast<unsigned long long>(mUpTime)));
  addText(root, "shutdown_time", mShutDownTime == 0 ? "" : std::to_string(mShutDownTime));
  addText(root, "load_average", mLoadAverage);
  addText(root, "active_state", mActiveState);
  addPartitions(root);
  return 0;
}

void SysStatusInfoDefinition::addPartitions(cJSON* root) const {
  JsonHandle list(cJSON_CreateArray());
  if (!list) {
    error_output(1, __func__, __LINE__, "create jsonArrayPartition failed.");
    return;
  }
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_STATUS_MOUNT);
  int count = 0;
  for (const PARTITION_INFO_S& partition : mPartitions) {
    if (++count > limit) break;
    cJSON* const object = cJSON_CreateObject();
    if (!object) {
      error_output(1, __func__, __LINE__, "create json object failed");
      break;
    }
    for (const auto& member : kPartitionMembers)
      addText(object, member.key, partition.*member.value);
    cJSON_AddItemToArray(list.get(), object);
  }
  cJSON_AddItemToObject(root, "partition_info", list.release());
}

}  // namespace LedgoraCollect
