#pragma once

#include <string>
#include <vector>

#include "hostmodel/CmdCollectionUnit.h"
#include "hostmodel/CommandCmdCollectionUnit.h"

namespace LedgoraCollect {

/// What is called the motherboard: the system section of dmidecode.
struct MotherBoardCacheUnit {
  std::string motherBoardProduct;
  std::string motherBoardManufacturer;
  std::string motherBoardSerial;
  std::string motherBoardVersion;
};

/// Asks dmidecode of the inspected root.
class DmidecodeCmdCollectionUnit : public CmdCollectionUnit {
 public:
  /// `commandUnit` looks dmidecode up; its bufferSize is set by the creator.
  explicit DmidecodeCmdCollectionUnit(const CommandCmdCollectionUnit& commandUnit)
      : mCommandUnit(commandUnit) {}

  /// Fills the fields that dmidecode tells. False when it couldn't be asked.
  bool collectMotherboardInfo(MotherBoardCacheUnit& unit);
  /// The lines of "dmidecode -t system ". False when the run failed and no
  /// dmidecode was found; true also for a known dmidecode that failed.
  bool executeMotherboardInfo(std::vector<std::string>& lines);

  /// Fills the fields from lines of dmidecode's output.
  static void paraMotherboardInfo(const std::vector<std::string>& lines,
                                  MotherBoardCacheUnit& unit);
  /// Sets `out` to what the expression finds in the last line that it matches.
  static void paraMotherBoardInfoByRegex(const std::vector<std::string>& lines,
                                         const std::string& expression, std::string& out);

 private:
  CommandCmdCollectionUnit mCommandUnit;
};

}  // namespace LedgoraCollect
