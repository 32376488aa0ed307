#pragma once

#include <map>
#include <string>
#include <vector>

#include "run/JsonArrays.h"

namespace LedgoraCollect {

/// What an administrator has switched off in "@/../config/soft_app_filter.json":
/// whole types, commands, processes or software. Without the file nothing is.
class CollectFilter {
 public:
  /// The one instance. Calls init() each time.
  static CollectFilter* getInstance();

  /// Loads the file once; a file that isn't there is tried once only.
  void init();
  /// Reads a filter file on top of what is there. False if it can't be read.
  bool loadFilterFile(const char* path);

  /// True when the type is forbidden.
  bool filterCollectType(int type);
  /// True when the command line, wrappers included, must not run.
  bool filterCmd(const std::string& command);
  /// True when the process is to be left out. A disable entry beats an only entry.
  bool filterProc(std::string& name, std::string& cmdline);
  bool isDisableProcess(std::string& name, std::string& cmdline);
  bool isEnabledProcess(std::string& name, std::string& cmdline);
  /// True when software of this name is to be left out.
  bool filterSoft(std::string& name);
  bool isEnabledSoft(std::string& name);
  bool isDisabledSoft(std::string& name);

 private:
  std::multimap<std::string, std::string> mProcOnly;
  std::multimap<std::string, std::string> mProcDisable;
  std::vector<std::string> mSoftOnly;
  std::vector<std::string> mSoftDisable;
  std::vector<std::string> mCmdDisable;
  std::vector<int> mCollectDisable;
};

}  // namespace LedgoraCollect
