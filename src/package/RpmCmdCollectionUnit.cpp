#include "package/RpmCmdCollectionUnit.h"

#include <cerrno>
#include <map>
#include <optional>

#include "common/CommandWord.h"
#include "common/FileUtils.h"
#include "common/PathUtils.h"
#include "common/StringUtils.h"
#include "common/support/BoundedString.h"
#include "common/support/CommandRunner.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "hostmodel/PathCollectionUnit.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kListCommand =
    "rpm -qa --queryformat "
    "\"%{NAME}###%{VERSION}-%{RELEASE}###%{INSTALLTIME}###%{SIZE}###%{DESCRIPTION}|##|\" "
    "2>/dev/null";
constexpr const char* kOwnerFormat =
    "rpm -qf %s --queryformat "
    "\"%%{NAME}###%%{VERSION}-%%{RELEASE}###%%{INSTALLTIME}###%%{SIZE}###%%{DESCRIPTION}\" "
    "2>/dev/null";

// A listing beyond its buffer loses its end, and with it the record that the
// cut falls into. The terminator is counted.
constexpr int kListBytes = 5242880;
constexpr int kListSeconds = 60;
constexpr int kOwnerBytes = 2048;
constexpr int kOwnerCommandBytes = 65536;
constexpr int kFilesBytes = 4096;
constexpr int kFilesLines = 1024;
constexpr int kQuestionSeconds = 30;
constexpr int kWaitStep = 5;

// From so many files without an owner on it is worth asking once whether rpm
// has any package at all.
constexpr int kFilesWithoutOwner = 3;

/// What this run has learnt about the rpm of a root.
struct RpmState {
  /// It didn't name an owner within its time: a second question would cost as
  /// much, so it isn't asked in this run.
  bool slow = false;
  /// It is there but couldn't be started, for want of processes, say.
  bool lost = false;
  /// A listing was had, and held nothing.
  std::optional<bool> listedNothing;
  bool hasOwned = false;
  int filesWithoutOwner = 0;
};

RpmState& stateOf(const std::string& rootKey) {
  static std::map<std::string, RpmState> states;
  return states[rootKey];
}

}  // namespace

std::map<std::string, bool> RpmCmdCollectionUnit::rpmDetectMap;

bool RpmCmdCollectionUnit::getDetectResult(bool& result) const {
  const auto found = rpmDetectMap.find(rootKey());
  if (found == rpmDetectMap.end()) return false;
  result = found->second;
  return true;
}

void RpmCmdCollectionUnit::setDetectResult(bool result) {
  bool& known = rpmDetectMap[rootKey()];
  if (known && !result) stateOf(rootKey()).lost = true;
  known = result;
}

bool RpmCmdCollectionUnit::isLost() const { return stateOf(rootKey()).lost; }

bool RpmCmdCollectionUnit::detectRpmCmd() {
  bool result = false;
  if (getDetectResult(result)) return result;
  PathCollectionUnit paths;
  paths.setEnvironment(environment);
  paths.setTarget(target);
  std::string path;
  result = paths.findCmdPath("rpm", path);
  error_output(2, __func__, __LINE__, "Rpm detect :%s, result %d", path.c_str(), result ? 1 : 0);
  setDetectResult(result);
  return result;
}

bool RpmCmdCollectionUnit::run(const std::string& command, int bufferSize, int timeout,
                               std::string& out) {
  MallocText buffer(static_cast<char*>(std::calloc(static_cast<std::size_t>(bufferSize), 1)));
  if (!buffer) {
    error_output(0, __func__, __LINE__, "malloc error.");
    errno = ENOMEM;
    return false;
  }
  errno = 0;
  if (executeCmd(command, buffer.get(), bufferSize, timeout, kWaitStep, nullptr)) {
    out = buffer.get();
    return true;
  }
  const int failure = errno;
  if (failure == kCommandNotStarted) {
    error_output(0, __func__, __LINE__, "exec cmd: %s errno=%d, set detect result false",
                 command.c_str(), failure);
    setDetectResult(false);
  }
  errno = failure;
  return false;
}

bool RpmCmdCollectionUnit::executeQA(std::string& out) {
  if (run(kListCommand, kListBytes, kListSeconds, out)) {
    stateOf(rootKey()).listedNothing = out.empty();
    return true;
  }
  error_output(0, __func__, __LINE__, "exec cmd: %s error.", kListCommand);
  return false;
}

bool RpmCmdCollectionUnit::executeQF(const std::string& path, std::string& out) {
  if (!acceptCommandWord(path, CommandPlace::Unquoted, __func__)) return false;
  std::string command(kOwnerCommandBytes, '\0');
  const int length = str_snprintf(command.data(), command.size(), kOwnerFormat, path.c_str());
  if (length < 0 || length >= kOwnerCommandBytes) return false;
  command.resize(static_cast<std::size_t>(length));
  if (run(command, kOwnerBytes, kQuestionSeconds, out)) return true;
  if (errno == kCommandStopped) stateOf(rootKey()).slow = true;
  error_output(0, __func__, __LINE__, "exec cmd: %s error.", command.c_str());
  return false;
}

bool RpmCmdCollectionUnit::executeQL(const std::string& pkg, const std::string& grep,
                                     std::string& out) {
  if (!acceptCommandWord(pkg, CommandPlace::Unquoted, __func__)) return false;
  const std::string command = "rpm -ql " + pkg + (grep.empty() ? "" : "| grep " + grep) +
                              "| head -n " + std::to_string(kFilesLines) + " 2>/dev/null";
  if (run(command, kFilesBytes, kQuestionSeconds, out)) return true;
  const int failure = errno;
  error_output(0, __func__, __LINE__, "exec cmd: %s error.errno=%d", command.c_str(), failure);
  return false;
}

bool RpmCmdCollectionUnit::collectSoftwares(std::vector<SoftwarePkgCacheUnit>& list) {
  std::string out;
  if (!executeQA(out)) return false;
  parseQAResult(out, list);
  return true;
}

void RpmCmdCollectionUnit::collectSoftwares(std::vector<SoftwarePkgCacheUnit>& list,
                                            const char* dir) {
  const std::string directory = addEnvPath(environment, dir);
  std::vector<std::string> entries;
  const auto append = [](const std::string& path, void* all) {
    static_cast<std::vector<std::string>*>(all)->push_back(path);
    return false;
  };
  if (!FileUtils::readDirFiles(directory, append, &entries)) {
    error_output(1, __func__, __LINE__, "open dir %s failed", directory.c_str());
    return;
  }
  std::map<std::string, SoftwarePkgCacheUnit> owners;
  for (const std::string& entry : entries) {
    if (PathUtils::isDir(entry)) continue;
    const std::string name = entry.substr(entry.rfind('/') + 1);
    // The command runs inside the root, so it is given the path as seen there.
    const std::string path = environment.empty() ? entry : std::string(dir) + "/" + name;
    SoftwarePkgCacheUnit unit;
    if (!collectSoftware(path, unit)) continue;
    error_output(2, __func__, __LINE__, "collect package %s, version %s",
                 unit.getPackageName().c_str(), unit.getPackageVersion().c_str());
    owners.emplace(unit.getPackageKey(), unit);
  }
  for (auto& owner : owners) list.push_back(std::move(owner.second));
}

bool RpmCmdCollectionUnit::collectSoftware(const std::string& path, SoftwarePkgCacheUnit& unit) {
  return queryOwner(path, unit) == Ownership::Owned;
}

RpmCmdCollectionUnit::Ownership RpmCmdCollectionUnit::queryOwner(const std::string& path,
                                                                 SoftwarePkgCacheUnit& unit) {
  RpmState& state = stateOf(rootKey());
  if (path.empty() || state.slow) return Ownership::NoAnswer;
  if (hasNoPackage()) {
    PathCollectionUnit paths;
    paths.setEnvironment(environment);
    paths.setTarget(target);
    return paths.isExistDirect(path) ? Ownership::NotOwned : Ownership::NoAnswer;
  }
  std::string out;
  if (!executeQF(path, out)) return Ownership::NoAnswer;
  if (parseQFResult(out, unit)) {
    state.hasOwned = true;
    return Ownership::Owned;
  }
  // rpm says in words that nobody owns a file. An rpm that couldn't read its
  // database, or was killed, prints nothing, as for a file that isn't there.
  if (StringUtils::trim(out, " \r\n\t").empty()) return Ownership::NoAnswer;
  ++state.filesWithoutOwner;
  return Ownership::NotOwned;
}

bool RpmCmdCollectionUnit::hasNoPackage() {
  const RpmState& state = stateOf(rootKey());
  // An rpm that can't read its database lists nothing, too; one that told of a
  // file can.
  if (state.filesWithoutOwner == 0 || state.hasOwned) return false;
  if (!state.listedNothing && state.filesWithoutOwner == kFilesWithoutOwner) {
    std::string listing;
    executeQA(listing);
  }
  return state.listedNothing.value_or(false);
}

bool RpmCmdCollectionUnit::collectSoftwareInstallFiles(const std::string& pkg,
                                                       const std::string& grep,
                                                       std::vector<std::string>& files,
                                                       PackageFileFilter filter) {
  std::string out;
  if (!executeQL(pkg, grep, out)) return false;
  parseQLResult(out, files, filter);
  return true;
}

}  // namespace LedgoraCollect
