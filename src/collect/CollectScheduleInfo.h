#pragma once

#include <string>
#include <vector>

#include "collect/schedule/CronLine.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// Type 6: the scheduled jobs of the inspected system's cron files, and whether
/// its cron service runs.
class CollectScheduleInfo : public CollectBase {
 public:
  /// Takes the limit and asks for the cron service, once for all jobs. True.
  bool init() override;
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  /// Appends the jobs of /etc/crontab, /etc/cron.d and the two spool layouts.
  void getHostCron(std::vector<SCHEDULE_INFO_S>& jobs);
  /// Appends the jobs of each file of a directory; `directory` has the root in
  /// front. False if it can't be listed or has no files.
  bool getCronInfoDir(const std::string& directory, std::vector<SCHEDULE_INFO_S>& jobs,
                      bool withUser);
  /// Appends the paths of the entries that are neither directories nor links.
  static bool getDirAllFiles(const std::string& directory, std::vector<std::string>& files);
  /// Appends the jobs of one file. False if it can't be opened.
  bool parseCronFile(const std::string& path, std::vector<SCHEDULE_INFO_S>& jobs, bool withUser);
  /// Time, user and command of a line of a system crontab.
  static bool getCronValueUser(std::string line, SCHEDULE_INFO_S& job);
  /// Time and command of a line of a user's crontab.
  static bool getCronValueNoUser(std::string line, SCHEDULE_INFO_S& job);
  /// True if the text is cron's five time fields; `time` isn't changed.
  static bool checkCronTime(std::string& time);
  /// Time of the file's last modification, in seconds since the epoch. False
  /// if it is unknown or 0.
  static bool getCreatTime(const std::string& path, long long& seconds);
  /// True if a service named crond or cron runs.
  bool checkStartStatus() const;

 private:
  bool takesMore(const std::vector<SCHEDULE_INFO_S>& jobs) const;

  /// Counts a line that is no job; false when there were too many.
  bool passesOtherLine(const std::string& path);

  int mJobLimit = 512;
  int mOtherLines = 0;
  std::string mStartStatus;
};

}  // namespace LedgoraCollect
