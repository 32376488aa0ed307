#include "collect/support/CommandLocator.h"

#include "common/support/Log.h"
#include "hostmodel/CommandCmdCollectionUnit.h"
#include "hostmodel/EnvCmdCollectionUnit.h"

namespace LedgoraCollect {

namespace {

constexpr int kAnswerBytes = 1024;
constexpr char kPathVariable[] = "PATH";

}  // namespace

bool CommandLocator::locate(const std::string& command, std::string& path) {
  std::string pathValue;
  if (!mEnv.empty() && !rootPathValue(pathValue)) return false;
  CommandCmdCollectionUnit unit;
  unit.setEnvironment(mEnv);
  unit.bufferSize = kAnswerBytes;
  const char* const searched = mEnv.empty() ? nullptr : pathValue.c_str();
  // What is relative would be taken below the tool's own directory.
  if (unit.collectCommandPath(command, path, searched) && path.front() == '/') return true;
  error_output(0, __func__, __LINE__, "get command %s result failed", command.c_str());
  return false;
}

bool CommandLocator::rootPathValue(std::string& value) {
  EnvCmdCollectionUnit unit;
  unit.setEnvironment(mEnv);
  if (mPathValue.empty() && !unit.collectHostEnvValue(kPathVariable, mPathValue)) {
    error_output(1, __func__, __LINE__, "get host env value %s failed.", kPathVariable);
    return false;
  }
  value = mPathValue;
  return true;
}

}  // namespace LedgoraCollect
