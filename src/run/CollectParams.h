#pragma once

namespace LedgoraCollect {

/// What a run tells the commands that it starts.
class CollectParams {
 public:
  /// Exports the start time of the run as LEDGORA_START_TIME.
  static void SetCollectParams();
};

}  // namespace LedgoraCollect
