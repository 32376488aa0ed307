#pragma once

#include <map>
#include <string>
#include <vector>

#include "collect/ProcessRecords.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// The process list (type 3), and the operations on process records that
/// software identification uses.
class CollectProcessInfo : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  /// False when the process list couldn't be had.
  bool collectImple(cJSON* root) override;

  /// Adds the processes of the run's root to `processes`, by pid.
  bool parseProcessesInfo(std::map<int, PROC_EX_INFO_S>& processes) const;

  /// The path as the tool must open it: inside the process's own root.
  static std::string addProcessBasePath(const PROC_EX_INFO_S& record, const std::string& path);
  /// Back to the path as the process sees it.
  static std::string dropProcessBasePath(const PROC_EX_INFO_S& record, const std::string& path);

  /// Appends the regular files that the process holds open, one entry per
  /// descriptor, as the process names them. `filter` (may be null) is asked
  /// with the path as the tool opens it; false skips. Stops beyond the limit
  /// of open files. False when the descriptors can't be listed.
  static bool getProcOpenFile(const PROC_EX_INFO_S& record, std::vector<std::string>& files,
                              bool (*filter)(const std::string& path));

  /// Adds what a command line says as names and values to `params`, by the
  /// habits of `language`; "space" splits at each blank. The first of a name
  /// wins. False for an unknown language.
  static bool getCmdParamValue(const std::string& language, const std::string& cmdline,
                               std::map<std::string, std::string>& params);
};

}  // namespace LedgoraCollect
