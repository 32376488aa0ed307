#pragma once

#include "hostmodel/ProcessCollection.h"

namespace LedgoraCollect {

/// The process table of a Linux machine, from one ps command and /proc.
class LinuxProcessCollection : public ProcessCollection {
 public:
  /// False when the process list couldn't be had; the table is then empty.
  bool collect() override;

  /// False leaves the environment of native programs unread, which nothing but
  /// software identification asks for. True at construction.
  void setEnvironmentsWanted(bool wanted) { mEnvironmentsWanted = wanted; }

 private:
  bool mEnvironmentsWanted = true;
};

}  // namespace LedgoraCollect
