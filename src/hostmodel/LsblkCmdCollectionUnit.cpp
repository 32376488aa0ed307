#include "hostmodel/LsblkCmdCollectionUnit.h"

#include <array>
#include <cerrno>

#include "common/CommandWord.h"
#include "common/support/BoundedString.h"
#include "common/support/CommandRunner.h"
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

bool LsblkCmdCollectionUnit::excuteDiskInfo(const std::string& commandLine, std::string& out) {
  if (commandLine.empty() || mStopped) return false;
  error_output(2, __func__, __LINE__, "excute diskCmd is %s.", commandLine.c_str());
  if (!mPlace) mPlace = findLsblk();
  if (!mPlace->found) return false;
  std::array<char, kAnswerBytes> answer{};
  errno = 0;
  const bool ran = runLsblk(commandLine, answer.data(), static_cast<int>(answer.size()));
  mStopped = !ran && errno == kCommandStopped;
  // Only a line end means no answer: lsblk prints one for a device without value.
  if (!ran || answer[0] == '\n') return false;
  out = answer.data();
  return true;
}

LsblkCmdCollectionUnit::Place LsblkCmdCollectionUnit::findLsblk() const {
  CommandCmdCollectionUnit lookUp;
  lookUp.bufferSize = kPathAnswerBytes;
  lookUp.setEnvironment(environment);
  Place place;
  if (!environment.empty()) {
    EnvCmdCollectionUnit env;
    env.setEnvironment(environment);
    if (!env.collectHostEnvValue("PATH", place.pathValue)) return place;
  }
  std::string path;
  const char* pathValue = environment.empty() ? nullptr : place.pathValue.c_str();
  place.found = lookUp.collectCommandPath("lsblk", path, pathValue);
  return place;
}

bool LsblkCmdCollectionUnit::runLsblk(const std::string& commandLine, char* buffer,
                                      int size) const {
  if (environment.empty()) return executeCmd(commandLine, buffer, size);
  return executeCmd(commandLine, buffer, size, kTimeoutSeconds, kWaitStepSeconds,
                    mPlace->pathValue.c_str());
}

}  // namespace LedgoraCollect
