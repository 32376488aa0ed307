#pragma once

#include <chrono>
#include <map>
#include <string>
#include <tuple>

#include "collect/ProcessRecords.h"

namespace LedgoraCollect {

/// Runs version commands: programs of an inspected process, with no more
/// rights than that process has and inside its root. A line whose answer can't
/// change is run once in a run for each root, PATH and set of rights; after
/// three lines of one root and user had to be stopped at their limit, none of
/// them is run again, and neither is any when they took too long together.
class VersionCommand {
 public:
  explicit VersionCommand(int timeoutSeconds = 50) : mTimeoutSeconds(timeoutSeconds) {}
  /// Runs the line and sets `output` to the first 1,535 bytes that it prints.
  /// `env` is the run's root, `pathValue` the process's PATH (empty: none).
  /// False if it couldn't be run or was stopped; `output` then holds what came.
  bool run(const std::string& env, const PROC_EX_INFO_S& proc, const std::string& line,
           const std::string& pathValue, std::string& output);

 private:
  struct Answer {
    bool ran = false;
    std::string output;
  };
  using Key = std::tuple<std::string, std::string, std::string, std::string>;

  int mTimeoutSeconds;
  std::map<Key, Answer> mAnswers;
  std::map<std::string, int> mStopped;                                // by root and user
  std::map<std::string, std::chrono::steady_clock::duration> mSpent;  // likewise
  std::chrono::steady_clock::duration mSpentByAll{};
};

}  // namespace LedgoraCollect
