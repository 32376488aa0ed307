#pragma once

#include <memory>

#include "run/CollectBase.h"

namespace LedgoraCollect {

/// A new collector for `type`, or null for a type without one.
std::shared_ptr<CollectBase> makeCollector(COLLECT_TYPE_E type);

}  // namespace LedgoraCollect
