#pragma once

#include <string>
#include <vector>

#include "hostmodel/Collection.h"
#include "hostmodel/LsblkCmdCollectionUnit.h"

namespace LedgoraCollect {

/// One physical disk.
struct DiskCacheUnit {
  std::string diskModel;
  std::string diskSerial;
  std::string diskSize;    // as text, such as "931.51 GB"
  std::string diskPath;    // below "/sys/block", without the environment
  double mDiskSizeGb = 0;  // in units of 2^30 bytes
  std::string diskDevice;  // such as "sda"
};

/// The physical disks of the inspected machine: list and sizes from
/// "/sys/block", model and serial number from there or from lsblk.
class DiskDetailCollection : public Collection {
 public:
  const std::vector<DiskCacheUnit>& getMDiskDetailInfos() const { return mDiskDetailInfos; }

  /// The disks with all their fields. False when there are none.
  bool collect() override;
  /// The disks without model and serial number. False when there are none.
  bool collectDiskSummary();
  /// Fills the two size fields; an unreadable size file counts as 0.
  void collectDiskSize(DiskCacheUnit& unit) const;
  /// Fills model and serial number; what can't be had stays empty.
  void collectDiskDetail(DiskCacheUnit& unit);
  /// Sum over all disks, in units of 2^30 bytes.
  double getTotalSize() const;

  /// Whether a name below "/sys/block" counts as a disk: sd*, hd* and vd*.
  static bool isDiskName(const std::string& name);
  /// The word at `index` of a line of a wwid file with at least three words,
  /// which are parted by single blanks; empty for other lines.
  static std::string wwidWord(const std::string& line, std::size_t index);

 private:
  void collectDiskModel(DiskCacheUnit& unit);
  void collectDiskSerial(DiskCacheUnit& unit);

  std::vector<DiskCacheUnit> mDiskDetailInfos;
  LsblkCmdCollectionUnit mLsblk;
};

}  // namespace LedgoraCollect
