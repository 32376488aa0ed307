#include <gtest/gtest.h>

#include "hostmodel/DmidecodeCmdCollectionUnit.h"

namespace LedgoraCollect {
namespace {

std::string show(const std::vector<std::string>& lines) {
  MotherBoardCacheUnit unit;
  DmidecodeCmdCollectionUnit::paraMotherboardInfo(lines, unit);
  return unit.motherBoardManufacturer + "|" + unit.motherBoardProduct + "|" +
         unit.motherBoardSerial + "|" + unit.motherBoardVersion;
}

TEST(DmidecodeCmdCollectionUnit, SectionsAsDmidecodePrintsThem) {
  const std::vector<std::string> system = {
      "# dmidecode 3.4",
      "Getting SMBIOS data from sysfs.",
      "SMBIOS 2.8 present.",
      "Handle 0x0100, DMI type 1, 27 bytes",
      "System Information",
      "\tManufacturer: QEMU Inc. ",
      "\tProduct Name: Standard PC (i440FX + PIIX, 1996)",
      "\tVersion: pc-i440fx-7.2",
      "\tSerial Number: ",
      "\tUUID: 6f2a..",
  };
  EXPECT_EQ(show(system),
            "QEMU Inc. |Standard PC (i440FX + PIIX, 1996)|Serial Number: "
            "|pc-i440fx-7.2");
  std::vector<std::string> twice = system;
  twice.insert(twice.end(),
               {"System Configuration Options", "\tVersion: 2", "\tFirmware Version:"});
  EXPECT_EQ(show(twice), "QEMU Inc. |Standard PC (i440FX + PIIX, 1996)|Serial Number: |Version:");
  EXPECT_EQ(show({}), "|||");
  EXPECT_EQ(show({"/dev/mem: Operation not permitted", "manufacturer: x", ":"}), "|||");
}

}  // namespace
}  // namespace LedgoraCollect
