#include "package/RetryPacing.h"

#include <algorithm>
#include <map>

namespace LedgoraCollect {
namespace {

constexpr int kUnpacedFailures = 2;
constexpr int kPauseFactor = 10;
constexpr std::chrono::milliseconds kShortestPause{200};

}  // namespace

RetryPacing& RetryPacing::of(const std::string& work) {
  static std::map<std::string, RetryPacing> all;
  return all[work];
}

bool RetryPacing::due() const { return mFailures < kUnpacedFailures || Clock::now() >= mNotBefore; }

void RetryPacing::started() { mStarted = Clock::now(); }

void RetryPacing::failed() {
  ++mFailures;
  const Clock::time_point now = Clock::now();
  mNotBefore = now + std::max<Clock::duration>(kShortestPause, (now - mStarted) * kPauseFactor);
}

}  // namespace LedgoraCollect
