#include "collect/CollectNpmPkgInfo.h"

#include <cerrno>
#include <string_view>
#include <vector>

#include "collect/npm/NpmConfigLine.h"
#include "collect/support/CommandLocator.h"
#include "collect/support/PathCutting.h"
#include "collect/support/RootFile.h"
#include "collect/support/TextLines.h"
#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "run/CollectLimit.h"

namespace LedgoraCollect {

namespace {

constexpr char kAccountFile[] = "/etc/passwd";
constexpr std::size_t kAccountFields = 7;
constexpr std::size_t kHomeField = 5;
// Of two files in one home the first is read.
constexpr const char* kConfigNames[] = {"/.npmrc", "/.cnpmrc"};
constexpr char kModules[] = "/node_modules";
// More of an account or configuration file isn't read.
constexpr std::size_t kMaximumAccountBytes = std::size_t{16} << 20;
constexpr std::size_t kMaximumConfigBytes = std::size_t{1} << 20;

}  // namespace

bool CollectNpmPkgInfo::init() {
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_NPM);
  if (limit != 0) {
    mMaxPkgCount = limit;
    mMaxDirCount = limit;
  } else {
    error_output(1, __func__, __LINE__, "get host npm pkg limit failed");
  }
  return true;
}

bool CollectNpmPkgInfo::collectImple(cJSON* root) {
  error_output(2, __func__, __LINE__, "collect npm package start");
  getHostNpmPackage();
  mPkgInfo.dataToJson(root);
  error_output(2, __func__, __LINE__, "collect npm package end");
  return true;
}

void CollectNpmPkgInfo::getHostNpmPackage() {
  if (!getSystemNpmPackage()) {
    error_output(0, __func__, __LINE__, "collect system npm package failed");
  }
  if (!getUserNpmPackage()) {
    error_output(0, __func__, __LINE__, "collect other user npm package failed");
  }
}

bool CollectNpmPkgInfo::getSystemNpmPackage() {
  std::string path;
  return getSystemPkgPath(path) && getNpmPackage(path);
}

// An npm that links to /usr/lib/node_modules/npm/bin/npm-cli.js leads to
// /usr/lib/node_modules/npm/node_modules, which are npm's own packages, and
// one that is a plain file /usr/local/bin/npm to /usr/local/node_modules.
// Consumers know the list so.
bool CollectNpmPkgInfo::getSystemPkgPath(std::string& path) {
  std::string command;
  if (!CommandLocator(getMEnv()).locate("npm", command)) return false;
  path =
      PathUtils::getSimplePath(PathUtils::getLinkedPath(addEnvPath(getMEnv(), command), getMEnv()));
  error_output(2, __func__, __LINE__, "sysDirPath is %s .", path.c_str());
  struct stat status {};
  if (lstatInspected(path, status) != 0) {
    error_output(0, __func__, __LINE__, "get path %s stat failed", path.c_str());
    return false;
  }
  bool found = cutTwoComponents(path);
  if (found) {
    path += kModules;
    found = existsInspected(path);
  }
  if (!found) {
    error_output(0, __func__, __LINE__, "readlink failed path is %s error number is %d",
                 path.c_str(), errno);
  }
  return found;
}

bool CollectNpmPkgInfo::getHostUserPath() {
  std::string text;
  if (!readRootFile(getMEnv(), kAccountFile, kMaximumAccountBytes, text)) {
    error_output(0, __func__, __LINE__, "open passwd file failed.");
    return false;
  }
  forEachBufferLine(text, [this](std::string_view line) {
    addUserRcFile(std::string(line));
    return true;
  });
  return true;
}

void CollectNpmPkgInfo::addUserRcFile(const std::string& passwdLine) {
  const std::vector<std::string> fields = StringUtils::split(passwdLine, ":", false);
  if (fields.size() < kAccountFields) return;
  for (const char* name : kConfigNames) {
    const std::string file = addEnvPath(getMEnv(), fields[kHomeField] + name);
    if (file.front() == '/' && existsInspected(file)) mUserRcMap.emplace(fields[0], file);
  }
}

bool CollectNpmPkgInfo::getUserNpmPackage() {
  if (!getHostUserPath()) error_output(1, __func__, __LINE__, "get host user name failed");
  if (mUserRcMap.empty()) {
    error_output(1, __func__, __LINE__, "character file is empty");
    return false;
  }
  for (const auto& [user, rcFile] : mUserRcMap) {
    std::string path;
    if (!getUserPkgPath(rcFile, path)) {
      error_output(1, __func__, __LINE__, "collect user npm %s package failed", user.c_str());
    }
    if (!getNpmPackage(path)) {
      error_output(1, __func__, __LINE__, "collect system npm package failed");
    }
  }
  return true;
}

bool CollectNpmPkgInfo::getUserPkgPath(const std::string& rcFile, std::string& path) {
  if (rcFile.empty()) {
    error_output(0, __func__, __LINE__, "character pattern or filepath is empty");
    return false;
  }
  std::string text;
  // The path has its root in front already.
  if (!readRootFile("", rcFile, kMaximumConfigBytes, text)) {
    error_output(1, __func__, __LINE__, "open file %s failed.", rcFile.c_str());
    return false;
  }
  forEachBufferLine(text, [this, &path](std::string_view line) {
    return !decidesPkgPath(std::string(line), path);
  });
  return true;
}

// A prefix with nothing behind it is taken as it stands, which is a directory
// of the machine that runs the tool and holds packages directly. One with a
// comment is a prefix as npm means it, inside the root, and counts only if its
// packages exist. Consumers know both lists; the two must stay different.
bool CollectNpmPkgInfo::decidesPkgPath(const std::string& line, std::string& path) const {
  NpmPrefix_S prefix;
  if (!parsePrefixLine(line, prefix)) return false;
  std::string decided = prefix.path;
  if (prefix.hasComment) {
    decided = addEnvPath(getMEnv(), prefix.path + "/lib" + kModules);
    if (decided.front() != '/' || !existsInspected(decided)) return false;
  }
  error_output(2, "getUserPkgPath", __LINE__, "user npm pkg path is %s ", decided.c_str());
  path = decided;
  return true;
}

}  // namespace LedgoraCollect
