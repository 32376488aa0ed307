#include "software/VersionCommand.h"

#include <cerrno>
#include <chrono>

#include "common/support/CommandRunner.h"
#include "common/support/Log.h"
#include "hostmodel/CmdCollectionUnit.h"

namespace LedgoraCollect {
namespace {

// The first so many bytes of the output, terminator included, are looked at.
constexpr int kOutputBytes = 1536;
constexpr int kWaitStepSeconds = 5;
constexpr int kMostStopped = 3;
constexpr std::size_t kMostAnswers = 1024;
// What lines may take together, in limits of one line: those of one root and user,
// and those of all. One that ends just before its limit isn't stopped, and users can
// be had in any number, so that the number of stopped lines alone bounds nothing.
constexpr int kMostLimitsOfOwner = 6;
constexpr int kMostLimits = 24;

}  // namespace

bool VersionCommand::run(const std::string& env, const PROC_EX_INFO_S& proc,
                         const std::string& line, const std::string& pathValue,
                         std::string& output) {
  const std::string root = env + "/" + proc.container.containerId;
  const std::string owner = root + "\n" + proc.userUid;
  Key key{root, proc.userUid, line, pathValue};
  const auto known = mAnswers.find(key);
  if (known != mAnswers.end()) {
    output = known->second.output;
    return known->second.ran;
  }
  output.clear();
  if (mStopped[owner] >= kMostStopped) {
    error_output(1, __func__, __LINE__,
                 "too many commands of user %s had to be stopped, not run: %s",
                 proc.userUid.c_str(), line.c_str());
    return false;
  }
  using Clock = std::chrono::steady_clock;
  const std::chrono::seconds limit(mTimeoutSeconds);
  if (mSpent[owner] > kMostLimitsOfOwner * limit || mSpentByAll > kMostLimits * limit) {
    error_output(1, __func__, __LINE__, "commands of user %s took too long together, not run: %s",
                 proc.userUid.c_str(), line.c_str());
    return false;
  }
  const Clock::time_point start = Clock::now();
  CmdCollectionUnit unit;
  unit.setEnvironment(env);
  unit.setTarget(proc.container.containerPath);
  char buffer[kOutputBytes] = {};
  errno = 0;
  Answer answer;
  answer.ran = unit.executeCmdAsProcess(proc.pid, line, buffer, kOutputBytes, mTimeoutSeconds,
                                        kWaitStepSeconds, pathValue.c_str());
  if (!answer.ran && errno == kCommandStopped) ++mStopped[owner];
  const Clock::duration spent = Clock::now() - start;
  mSpent[owner] += spent;
  mSpentByAll += spent;
  answer.output = buffer;
  output = answer.output;
  const bool ran = answer.ran;
  if (mAnswers.size() < kMostAnswers) mAnswers.emplace(std::move(key), std::move(answer));
  return ran;
}

}  // namespace LedgoraCollect
