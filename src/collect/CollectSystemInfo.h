#pragma once

#include <string>

#include "collect/SystemInfoRecords.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// Type 1: the machine as a whole. A step that fails leaves its fields empty
/// and the run goes on.
class CollectSystemInfo : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  /// "server", "pc" or empty: for other collectors, given the same env.
  std::string getHostType();
  /// The normalised name of the operating system: for other collectors.
  std::string getOsName();

  /// The answer in a dmidecode output: its first line with a text and without
  /// a "#", trimmed; empty when there is none.
  static std::string getSystemResult(const std::string& output);

 private:
  void getSystemInfo();
  void getSystemOSInfo();
  void getSystemHostInfo();
  void getSystemVendorInfo();
  void getDiskDetailInfo();
  bool getDmidecodeInfo();
  void getSystemMotherBoard();
  void lowerFields();

  SYS_INFO_S mSysInfo;
};

}  // namespace LedgoraCollect
