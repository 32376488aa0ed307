#include "collect/CollectScheduleInfo.h"

#include <dirent.h>
#include <strings.h>

#include "collect/support/JsonMembers.h"
#include "collect/support/RootFile.h"
#include "collect/support/TextLines.h"
#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/StringUtils.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "hostmodel/ServiceCollection.h"
#include "run/CollectLimit.h"
#include "run/ListDocument.h"

namespace LedgoraCollect {

namespace {

constexpr char kBlanks[] = " \r\n\t";

// A crafted tree must cost neither time nor log: so many files of a directory,
// and so many lines in a run that are no jobs, are looked at.
constexpr std::size_t kMaximumFiles = 10000;
constexpr int kMaximumOtherLines = 20000;

constexpr struct {
  const char* path;
  bool isDirectory;
  bool withUser;
} kSources[] = {
    {"/etc/crontab", false, true},
    {"/etc/cron.d", true, true},
    {"/var/spool/cron", true, false},
    {"/var/spool/cron/crontabs", true, false},
};

constexpr struct {
  const char* service;
  const char* message;
} kCronServices[] = {
    {"crond", "service crond is running"},
    {"cron", "service cron is running"},
};

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

/// Fills time, user and command once the time has passed its check.
bool takeFields(const CronFields_S& fields, SCHEDULE_INFO_S& job) {
  std::string time(fields.time);
  if (!CollectScheduleInfo::checkCronTime(time)) {
    error_output(1, __func__, __LINE__, "Cron time %s is irregular ", time.c_str());
    return false;
  }
  job.execTime = time;
  job.execUser = std::string(fields.user);
  job.execCmd = std::string(fields.command);
  return true;
}

std::string creationText(long long seconds) {
  return seconds == 0 ? "" : std::to_string(seconds) + "000";
}

void addJob(cJSON* object, const std::string& name, const SCHEDULE_INFO_S& job) {
  addText(object, "cron_name", name);
  addText(object, "exec_cmd", job.execCmd);
  addText(object, "exec_user", job.execUser);
  addText(object, "exec_time", job.execTime);
  addText(object, "start_status", job.startStatus);
  addText(object, "creat_time", creationText(job.creatTime));
}

}  // namespace

bool CollectScheduleInfo::init() {
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_CRON);
  if (limit != 0) {
    mJobLimit = limit;
  } else {
    error_output(1, __func__, __LINE__, "get collectLimit nHostCron failed");
  }
  mStartStatus = checkStartStatus() ? "ON" : "OFF";
  return true;
}

bool CollectScheduleInfo::collectImple(cJSON* root) {
  error_output(2, __func__, __LINE__, "collect type_6 CronInfo start!");
  std::vector<SCHEDULE_INFO_S> jobs;
  getHostCron(jobs);
  if (jobs.empty()) error_output(1, __func__, __LINE__, "cron2Json is empty");
  const int result = dataToJson(&jobs, root);
  if (result != 0) {
    error_output(0, __func__, __LINE__, "Failed to get json result, error code=%d", result);
    return false;
  }
  error_output(2, __func__, __LINE__, "collect type_6 CronInfo end!");
  return true;
}

void CollectScheduleInfo::getHostCron(std::vector<SCHEDULE_INFO_S>& jobs) {
  for (const auto& source : kSources) {
    // The name is kept as it was asked for: a link's jobs are listed under it.
    const std::string path = PathUtils::addPrefixPath(getMEnv(), source.path);
    const bool taken = source.isDirectory ? getCronInfoDir(path, jobs, source.withUser)
                                          : parseCronFile(path, jobs, source.withUser);
    if (!taken) {
      error_output(1, __func__, __LINE__, "get cron failed path is  %s.", path.c_str());
    }
  }
}

bool CollectScheduleInfo::getCronInfoDir(const std::string& directory,
                                         std::vector<SCHEDULE_INFO_S>& jobs, bool withUser) {
  std::vector<std::string> files;
  if (!getDirAllFiles(directory, files)) {
    error_output(1, __func__, __LINE__, "get dir %s all files failed", directory.c_str());
    return false;
  }
  if (files.empty()) {
    error_output(1, __func__, __LINE__, "get dir %s file empty", directory.c_str());
    return false;
  }
  for (const std::string& file : files) {
    if (!parseCronFile(file, jobs, withUser)) {
      error_output(1, __func__, __LINE__, "parse cron file %s failed", file.c_str());
    }
  }
  return true;
}

bool CollectScheduleInfo::getDirAllFiles(const std::string& directory,
                                         std::vector<std::string>& files) {
  if (directory.empty()) {
    error_output(1, __func__, __LINE__, "dir path is empty");
    return false;
  }
  const DirHandle handle = openInspectedDir(directory);
  if (!handle) return false;
  const std::string prefix = directory.back() == '/' ? directory : directory + '/';
  while (const dirent* const entry = ::readdir(handle.get())) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (files.size() >= kMaximumFiles) {
      error_output(1, __func__, __LINE__, "more than %zu files in %s, the others are left out",
                   kMaximumFiles, directory.c_str());
      break;
    }
    struct stat status {};
    if (lstatInspected(prefix + name, status) != 0) continue;
    if (S_ISDIR(status.st_mode) || S_ISLNK(status.st_mode)) continue;
    files.push_back(prefix + name);
  }
  return true;
}

bool CollectScheduleInfo::parseCronFile(const std::string& path, std::vector<SCHEDULE_INFO_S>& jobs,
                                        bool withUser) {
  std::string text;
  if (!readRootFile("", path, kMaximumTextBytes, text)) {
    error_output(0, __func__, __LINE__, "open %s file failed.", path.c_str());
    return false;
  }
  SCHEDULE_INFO_S ofFile;
  ofFile.cronName = baseName(path);
  ofFile.startStatus = mStartStatus;
  if (!getCreatTime(path, ofFile.creatTime)) {
    error_output(1, __func__, __LINE__, "get file %s creatTime failed", path.c_str());
  }
  forEachLine(text, [&](std::string_view line) {
    if (!line.empty() && line.front() == '#') return true;
    if (!takesMore(jobs)) return false;
    SCHEDULE_INFO_S job = ofFile;
    const std::string content(withoutCronComment(line));
    if (!(withUser ? getCronValueUser(content, job) : getCronValueNoUser(content, job))) {
      return passesOtherLine(path);
    }
    if (!withUser) job.execUser = ofFile.cronName;
    jobs.push_back(std::move(job));
    return true;
  });
  error_output(2, __func__, __LINE__, "get file %s cron success", path.c_str());
  return true;
}

bool CollectScheduleInfo::takesMore(const std::vector<SCHEDULE_INFO_S>& jobs) const {
  if (static_cast<long long>(jobs.size()) < mJobLimit) return true;
  error_output(1, "parseCronFile", __LINE__, "collect cron count is more than %d", mJobLimit);
  return false;
}

bool CollectScheduleInfo::passesOtherLine(const std::string& path) {
  if (++mOtherLines < kMaximumOtherLines) return true;
  error_output(1, "parseCronFile", __LINE__,
               "more than %d lines are no jobs, the rest of %s is left out", kMaximumOtherLines,
               path.c_str());
  return false;
}

bool CollectScheduleInfo::getCronValueUser(std::string line, SCHEDULE_INFO_S& job) {
  if (line.empty()) {
    error_output(1, __func__, __LINE__, "para line %s failed ", line.c_str());
    return false;
  }
  CronFields_S fields;
  if (!cutCronLine(line, true, fields)) {
    error_output(1, __func__, __LINE__, "cron is irregular %s", line.c_str());
    return false;
  }
  return takeFields(fields, job);
}

bool CollectScheduleInfo::getCronValueNoUser(std::string line, SCHEDULE_INFO_S& job) {
  CronFields_S fields;
  if (!cutCronLine(line, false, fields)) {
    error_output(1, __func__, __LINE__, "para line %s failed ", line.c_str());
    return false;
  }
  return takeFields(fields, job);
}

bool CollectScheduleInfo::checkCronTime(std::string& time) { return isCronTime(time); }

bool CollectScheduleInfo::getCreatTime(const std::string& path, long long& seconds) {
  struct stat status {};
  if (statInspected(path, status) != 0) {
    error_output(1, __func__, __LINE__, "get file %s stat failed", path.c_str());
    return false;
  }
  if (status.st_mtime == 0) {
    error_output(1, __func__, __LINE__, "get file %s stat st_mtim.tv_sec failed", path.c_str());
    return false;
  }
  seconds = status.st_mtime;
  return true;
}

bool CollectScheduleInfo::checkStartStatus() const {
  ServiceCollection services;
  services.setEnvironment(getMEnv());
  if (!services.collect()) {
    error_output(0, __func__, __LINE__, "Failed to collect services!");
    return false;
  }
  if (services.getMVctServices().empty()) {
    error_output(2, __func__, __LINE__, "get cron service info failed.");
    return false;
  }
  for (const ServiceCacheUnit& service : services.getMVctServices()) {
    for (const auto& cron : kCronServices) {
      if (::strcasecmp(service.getMServerName().c_str(), cron.service) != 0) continue;
      if (service.getMServerStatus() != "RUN") continue;
      error_output(2, __func__, __LINE__, "%s", cron.message);
      return true;
    }
  }
  error_output(1, __func__, __LINE__, "service cron and crond all stop");
  return false;
}

int CollectBase::dataToJson(std::vector<SCHEDULE_INFO_S>* list, cJSON* root) {
  if (!list || !root) return -1;
  ListDocument document(__func__);
  if (!document) return -1;
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_CRON);
  int count = 0;
  for (const SCHEDULE_INFO_S& job : *list) {
    const std::string name = StringUtils::trim(job.cronName, kBlanks);
    if (name.empty()) continue;
    if (++count > limit) break;
    cJSON* const object = document.append();
    if (object == nullptr) break;
    addJob(object, name, job);
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
