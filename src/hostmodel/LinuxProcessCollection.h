#pragma once

#include "hostmodel/ProcessCollection.h"

namespace LedgoraCollect {

/// The process table of a Linux machine, from one ps command and /proc.
class LinuxProcessCollection : public ProcessCollection {
 public:
  /// False when the process list couldn't be had; the table is then empty.
  bool collect() override;
};

}  // namespace LedgoraCollect
