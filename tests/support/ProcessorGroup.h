#pragma once

#include <string>

namespace LedgoraTest {

/// A control group of its own for one run of the program. The program limits
/// itself by a group below the one that it is started in; without this all
/// runs of all tests would share one limit and wait for each other. On a
/// machine without the first version's processor hierarchy this does nothing.
class ProcessorGroup {
 public:
  ProcessorGroup();
  ~ProcessorGroup();
  ProcessorGroup(const ProcessorGroup&) = delete;
  ProcessorGroup& operator=(const ProcessorGroup&) = delete;

  /// Moves the calling process in.
  void enter() const;

 private:
  std::string mPath;
};

}  // namespace LedgoraTest
