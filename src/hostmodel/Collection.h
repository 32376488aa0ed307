#pragma once

#include "hostmodel/CollectionBase.h"

namespace LedgoraCollect {

/// A whole subject that is gathered at once. It hands its environment to the
/// units that it builds.
class Collection : public CollectionBase {
 public:
  virtual ~Collection() = default;
  /// True on success; the records are then read from the derived class.
  virtual bool collect() = 0;
};

}  // namespace LedgoraCollect
