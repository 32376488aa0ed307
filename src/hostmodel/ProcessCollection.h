#pragma once

#include <map>
#include <utility>

#include "hostmodel/Collection.h"
#include "hostmodel/ProcessCacheUnit.h"

namespace LedgoraCollect {

/// The process table: what runs on the inspected machine, in pid order.
class ProcessCollection : public Collection {
 public:
  const std::map<int, ProcessCacheUnit>& getMProcessInfo() const { return processInfo; }
  /// Gives the table away.
  std::map<int, ProcessCacheUnit> releaseProcessInfo() { return std::move(processInfo); }

 protected:
  std::map<int, ProcessCacheUnit> processInfo;
};

}  // namespace LedgoraCollect
