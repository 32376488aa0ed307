// What identification asks of one process record: paths in its root, its open
// files, its command line's parameters.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "collect/CollectProcessInfo.h"
#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/StringUtils.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "hostmodel/CollectionBase.h"
#include "run/CollectLimit.h"

namespace LedgoraCollect {
namespace {

constexpr std::size_t kPathBytes = 4096;

bool readDescriptorLink(const std::string& path, std::string& target) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return false;
  char buffer[kPathBytes] = {};
  if (readlink(path.c_str(), buffer, sizeof buffer - 1) < 0) {
    error_output(1, __func__, __LINE__, "[CollectProcessInfo]readlink file: %s faile.",
                 path.c_str());
    return false;
  }
  target = buffer;
  return true;
}

// One bit of the mode is looked at, which sockets and links have as well; the
// names of sockets lead to nothing, so that only files pass.
bool hasRegularBit(const std::string& path) {
  struct stat status;
  return statInspected(path, status) == 0 && (status.st_mode & S_IFREG) != 0;
}

void cmdNewSplite(const std::string& field, std::map<std::string, std::string>& params) {
  if (field.empty()) return;
  const std::string text = field[0] == '-' ? field.substr(1) : field;
  const char* separator = text.find('=') != std::string::npos ? "=" : " ";
  const std::vector<std::string> parts = StringUtils::split(text, separator, false);
  if (parts.size() >= 2) {
    params.emplace(parts[0], parts[1]);
  } else {
    params.emplace(text, "");
  }
}

}  // namespace

std::string CollectProcessInfo::addProcessBasePath(const PROC_EX_INFO_S& record,
                                                   const std::string& path) {
  return CollectionBase::addEnvPath(record.processBasePath, path);
}

std::string CollectProcessInfo::dropProcessBasePath(const PROC_EX_INFO_S& record,
                                                    const std::string& path) {
  return CollectionBase::dropEnvPath(record.processBasePath, path);
}

// The descriptors are read from the machine that runs the tool, also for a root.
bool CollectProcessInfo::getProcOpenFile(const PROC_EX_INFO_S& record,
                                         std::vector<std::string>& files,
                                         bool (*filter)(const std::string& path)) {
  const std::string directory = "/proc/" + std::to_string(record.pid) + "/fd";
  struct stat status;
  const DirHandle entries(opendir(directory.c_str()));
  if (entries == nullptr) {
    error_output(1, __func__, __LINE__, "[CollectProcessInfo]getProcOpenFile dir is null.");
    return false;
  }
  if (lstat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return false;
  const auto limit = static_cast<std::size_t>(CollectLimit::getInstance()->mOpenFilesOfProcess);
  while (const dirent* entry = readdir(entries.get())) {
    if (files.size() > limit) {
      error_output(1, __func__, __LINE__, "[CollectProcessInfo]vecFilename file number is : %zd",
                   static_cast<ssize_t>(files.size()));
      return true;
    }
    const std::string_view name = entry->d_name;
    std::string target;
    if (name == "." || name == ".." ||
        !readDescriptorLink(directory + "/" + entry->d_name, target)) {
      continue;
    }
    const std::string path = addProcessBasePath(record, target);
    if (hasRegularBit(path) && (filter == nullptr || filter(path))) files.push_back(target);
  }
  return true;
}

bool CollectProcessInfo::getCmdParamValue(const std::string& language, const std::string& cmdline,
                                          std::map<std::string, std::string>& params) {
  const std::vector<std::string> fields =
      StringUtils::split(cmdline, language == "space" ? " " : " -", false);
  std::string habit = language;
  StringUtils::lower(habit);
  const bool namesScript = habit == "perl" || habit == "python";
  if (!namesScript && habit != "linux" && habit != "bash" && habit != "java" && habit != "space") {
    return false;
  }
  std::size_t i = 0;
  if (namesScript && !fields.empty()) params.emplace("1", fields[i++]);
  for (; i < fields.size(); ++i) cmdNewSplite(fields[i], params);
  return true;
}

}  // namespace LedgoraCollect
