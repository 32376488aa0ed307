#include "hostmodel/LsblkCmdCollectionUnit.h"

#include <array>

#include "common/CommandWord.h"
#include "common/support/BoundedString.h"
#include "common/support/Log.h"
#include "hostmodel/CommandCmdCollectionUnit.h"
#include "hostmodel/EnvCmdCollectionUnit.h"

namespace LedgoraCollect {
namespace {

constexpr int kTimeoutSeconds = 30;
constexpr int kWaitStepSeconds = 5;
constexpr int kPathAnswerBytes = 1024;
// A command line is cut at 255 bytes, and so is an answer.
constexpr std::size_t kCommandLineBytes = 256;
constexpr std::size_t kAnswerBytes = 256;

CommandCmdCollectionUnit lookUpUnit(const std::string& environment) {
  CommandCmdCollectionUnit unit;
  unit.bufferSize = kPathAnswerBytes;
  unit.setEnvironment(environment);
  return unit;
}

bool acceptDevice(const std::string& device) {
  return acceptCommandWord(device, CommandPlace::Unquoted, __func__);
}

}  // namespace

std::string LsblkCmdCollectionUnit::modelCommand(const std::string& device) {
  if (!acceptDevice(device)) return {};
  std::array<char, kCommandLineBytes> line{};
  str_snprintf(line.data(), line.size(), "lsblk -dno MODEL /dev/%s", device.c_str());
  return line.data();
}

std::string LsblkCmdCollectionUnit::serialCommand(const std::string& device) {
  if (!acceptDevice(device)) return {};
  std::array<char, kCommandLineBytes> line{};
  str_snprintf(line.data(), line.size(), "lsblk --nodeps -no serial /dev/%s", device.c_str());
  return line.data();
}

bool LsblkCmdCollectionUnit::excuteDiskInfo(const std::string& commandLine,
                                            std::string& out) const {
  if (commandLine.empty()) return false;
  error_output(2, __func__, __LINE__, "excute diskCmd is %s.", commandLine.c_str());
  std::array<char, kAnswerBytes> answer{};
  const int size = static_cast<int>(answer.size());
  const bool ran = environment.empty() ? runOnHost(commandLine, answer.data(), size)
                                       : runInRoot(commandLine, answer.data(), size);
  // Only a line end means no answer: lsblk prints one for a device without value.
  if (!ran || answer[0] == '\n') return false;
  out = answer.data();
  return true;
}

bool LsblkCmdCollectionUnit::runInRoot(const std::string& commandLine, char* buffer,
                                       int size) const {
  EnvCmdCollectionUnit env;
  env.setEnvironment(environment);
  std::string pathValue;
  if (!env.collectHostEnvValue("PATH", pathValue)) return false;
  std::string path;
  if (!lookUpUnit(environment).collectCommandPath("lsblk", path, pathValue.c_str())) return false;
  return executeCmd(commandLine, buffer, size, kTimeoutSeconds, kWaitStepSeconds,
                    pathValue.c_str());
}

bool LsblkCmdCollectionUnit::runOnHost(const std::string& commandLine, char* buffer,
                                       int size) const {
  std::string path;
  if (!lookUpUnit(environment).collectCommandPath("lsblk", path, nullptr)) return false;
  return executeCmd(commandLine, buffer, size);
}

}  // namespace LedgoraCollect
