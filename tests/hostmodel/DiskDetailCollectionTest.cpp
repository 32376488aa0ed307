#include <gtest/gtest.h>

#include "common/InspectedRoot.h"
#include "hostmodel/DiskDetailCollection.h"
#include "support/TempRoot.h"

using LedgoraTest::TempRoot;

namespace LedgoraCollect {
namespace {

std::string show(TempRoot& root) {
  InspectedRoot::setEnvironment(root.path());
  DiskDetailCollection disks;
  disks.setEnvironment(root.path());
  std::string text = disks.collect() ? "" : "no disks";
  for (const DiskCacheUnit& d : disks.getMDiskDetailInfos()) {
    text += d.diskDevice + "|" + d.diskModel + "|" + d.diskSerial + "|" + d.diskSize + "|" +
            d.diskPath + ";";
  }
  return text;
}

TEST(DiskDetailCollection, OnlyTheseNamesAreDisks) {
  for (const char* name : {"sda", "hdb", "vdc", "sd", "hd0x"}) {
    EXPECT_TRUE(DiskDetailCollection::isDiskName(name)) << name;
  }
  for (const char* name : {"nvme0n1", "mmcblk0", "loop0", "dm-0", "xvda", "sr0", "xsda", ""}) {
    EXPECT_FALSE(DiskDetailCollection::isDiskName(name)) << name;
  }
}

TEST(DiskDetailCollection, FilesOfOneDisk) {
  const struct {
    const char *what, *size, *wwid, *model, *want;
  } cases[] = {
      {"three words", "1953525168\n", "t10 M500 S-1\n", "unused\n", "M500|S-1|931.51 GB"},
      {"one word, no other source", "2097152\n", "naa.5000c500\n", "ST1000\n", "||1.00 GB"},
      {"blanks in a row are empty words", "1\n", "t10.ATA   DISK 9\n", "m", "||0.00 GB"},
      {"no wwid", "4194304\n", nullptr, "QEMU HARDDISK  \n", "QEMU HARDDISK  ||2.00 GB"},
      {"empty wwid is none", "x\n", "", "Model\n", "Model||0.00 GB"},
      {"no size", nullptr, "a b c d\n", nullptr, "b|c|0.00 GB"},
      {"size with a tail", "2097152 sectors", "a b c", nullptr, "b|c|1.00 GB"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TempRoot root;
    root.dir("sys/block/sda/device");
    if (c.size) root.file("sys/block/sda/size", c.size);
    if (c.wwid) root.file("sys/block/sda/device/wwid", c.wwid);
    if (c.model) root.file("sys/block/sda/model", c.model);
    EXPECT_EQ(show(root), std::string("sda|") + c.want + "|/sys/block/sda;");
  }
}

TEST(DiskDetailCollection, LinksIntoTheDeviceTreeAndForeignDevices) {
  TempRoot root;
  root.file("sys/devices/pci0/block/vda/size", "2097152\n")
      .file("sys/devices/pci0/block/vda/device/wwid", "a b c\n")
      .link("sys/block/vda", "../devices/pci0/block/vda")
      .dir("sys/block/nvme0n1")
      .dir("sys/block/dm-0");
  EXPECT_EQ(show(root), "vda|b|c|1.00 GB|/sys/block/vda;");
  root.remove("sys/block/vda");
  EXPECT_EQ(show(root), "no disks");
}

TEST(DiskDetailCollection, TotalIsTheSum) {
  TempRoot root;
  root.file("sys/block/sda/size", "2097152\n").file("sys/block/vdb/size", "1048576\n");
  InspectedRoot::setEnvironment(root.path());
  DiskDetailCollection disks;
  disks.setEnvironment(root.path());
  ASSERT_TRUE(disks.collectDiskSummary());
  EXPECT_DOUBLE_EQ(disks.getTotalSize(), 1.5);
}

}  // namespace
}  // namespace LedgoraCollect
