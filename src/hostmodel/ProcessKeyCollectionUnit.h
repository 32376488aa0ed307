#pragma once

#include <string>

#include "hostmodel/CollectionBase.h"

namespace LedgoraCollect {

/// What the key of a process is made from.
struct PROCESS_KEY_INFO_S {
  std::string processPath;
  std::string processCmdline;
  std::string containerId;  // empty on the host
};

/// The identity of a process by what it runs and where, not by its pid.
class ProcessKeyCollectionUnit : public CollectionBase {
 public:
  /// False, and `out` untouched, when path or command line is empty.
  static bool creatProcessKey(const PROCESS_KEY_INFO_S& info, std::string& out);
  /// The key of one process, read from /proc.
  bool getProcessKeyByPid(int pid, std::string& out) const;
};

}  // namespace LedgoraCollect
