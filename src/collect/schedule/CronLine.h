#pragma once

#include <string>
#include <string_view>

namespace LedgoraCollect {

/// One scheduled job as the document lists it.
struct SCHEDULE_INFO_S {
  std::string execCmd;
  std::string cronName;
  std::string execUser;
  std::string execTime;
  std::string startStatus;
  long long creatTime = 0;  // seconds since the epoch; 0: not known
};

/// Words of a crontab line, cut where cron cuts them.
struct CronFields_S {
  std::string_view time;  // the five time fields with what stands between them
  std::string_view user;  // only in a system crontab
  std::string_view command;
};

/// Cuts a line into the five time fields, the user where `withUser`, and the
/// command, which is what is left behind the blanks, trailing ones included.
/// Gives what the expression "([^\s]+[\s]+[^\s]+[\s]+[^\s]+[\s]+[^\s]+[\s]+[^\s]+)[\s]+(.*)"
/// (with "([^\s]+)[\s]+" in front of the last group for a user) would give in
/// its groups, in time that is linear in the line's length. False for a line
/// with too few fields or without a command.
bool cutCronLine(std::string_view line, bool withUser, CronFields_S& fields);

/// A line without its comment. A "#" ends the line also inside a command, as
/// consumers have always seen it. Empty for a line that begins with "#".
std::string_view withoutCronComment(std::string_view line);

/// True if `time` has at least five fields of which the first three (minute,
/// hour, day of the month) hold nothing but "*", digits, "/", "," and "-". The
/// last two may hold names and aren't looked at.
bool isCronTime(const std::string& time);

}  // namespace LedgoraCollect
