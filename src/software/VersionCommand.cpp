#include "software/VersionCommand.h"

#include <cerrno>

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
  CmdCollectionUnit unit;
  unit.setEnvironment(env);
  unit.setTarget(proc.container.containerPath);
  char buffer[kOutputBytes] = {};
  errno = 0;
  Answer answer;
  answer.ran = unit.executeCmdAsProcess(proc.pid, line, buffer, kOutputBytes, mTimeoutSeconds,
                                        kWaitStepSeconds, pathValue.c_str());
  if (!answer.ran && errno == kCommandStopped) ++mStopped[owner];
  answer.output = buffer;
  output = answer.output;
  const bool ran = answer.ran;
  if (mAnswers.size() < kMostAnswers) mAnswers.emplace(std::move(key), std::move(answer));
  return ran;
}

}  // namespace LedgoraCollect
