#pragma once

#include <chrono>
#include <string>

namespace LedgoraCollect {

/// Keeps work that failed from being tried again at every question. A run asks
/// for hundreds of files; with a database that stays locked or a full disk,
/// each question would list all packages anew. The second try may follow at
/// once; from then on at most a tenth of the time goes into trying.
class RetryPacing {
 public:
  /// The pacing of one piece of work in this process.
  static RetryPacing& of(const std::string& work);

  bool due() const;
  void started();
  void failed();

 private:
  using Clock = std::chrono::steady_clock;
  int mFailures = 0;
  Clock::time_point mStarted{};
  Clock::time_point mNotBefore{};
};

}  // namespace LedgoraCollect
