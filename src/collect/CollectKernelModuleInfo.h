#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "collect/kernel/ModinfoOutput.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// Type 21: the loaded kernel modules, as lsmod and modinfo of the inspected
/// root tell them. A module of which modinfo tells nothing is left out.
class CollectKernelModuleInfo : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  /// Appends the modules until E_HOST_KERNEL are there.
  void getKernelModuleInfo(std::vector<KERNEL_MODULE_INFO_S>& modules);
  /// Fills in what modinfo tells of the module `name`. False if it told nothing
  /// or may not be asked.
  bool getModuleDetailInfo(std::string& name, KERNEL_MODULE_INFO_S& module);

 private:
  bool askModinfo(const std::string& name, std::vector<std::string>& lines);
  bool takeModule(const std::string& line, std::vector<KERNEL_MODULE_INFO_S>& modules);

  /// False once modinfo has failed too often or taken too long.
  bool mayAskModinfo() const;

  using Clock = std::chrono::steady_clock;
  int mFailed = 0;
  int mStopped = 0;
  Clock::duration mSpent{};
  std::size_t mParameterBytes = 0;
};

}  // namespace LedgoraCollect
