#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "collect/CollectScheduleInfo.h"
#include "collect/schedule/CronLine.h"
#include "common/RegexUtils.h"

using namespace LedgoraCollect;

namespace {

/// "time|user|command" of a line of a system crontab or, without user, of a user's.
std::string shown(const std::string& line, bool withUser) {
  SCHEDULE_INFO_S job;
  const std::string content(withoutCronComment(line));
  const bool isJob = withUser ? CollectScheduleInfo::getCronValueUser(content, job)
                              : CollectScheduleInfo::getCronValueNoUser(content, job);
  return isJob ? job.execTime + "|" + job.execUser + "|" + job.execCmd : "";
}

constexpr char kWithUser[] =
    "([^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+)[\\s]+([^\\s]+)[\\s]+(.*)";
constexpr char kNoUser[] =
    "([^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+)[\\s]+(.*)";

/// What the expressions give, in the form of CronFields_S.
std::vector<std::string> byExpression(std::string line, bool withUser) {
  std::vector<std::string> values;
  regexInterfaceGetAll(line, values, withUser ? kWithUser : kNoUser);
  if (values.size() != (withUser ? 4U : 3U)) return {};
  values.erase(values.begin());
  return values;
}

std::vector<std::string> byCutting(const std::string& line, bool withUser) {
  CronFields_S fields;
  if (!cutCronLine(line, withUser, fields)) return {};
  std::vector<std::string> values{std::string(fields.time)};
  if (withUser) values.emplace_back(fields.user);
  values.emplace_back(fields.command);
  return values;
}

}  // namespace

TEST(CronLine, SystemCrontab) {
  const struct {
    const char* line;
    const char* want;
  } cases[] = {
      {"0 3 * * * root /bin/x # nightly", "0 3 * * *|root|/bin/x "},
      {"0 3 * * mon root /bin/x", "0 3 * * mon|root|/bin/x"},
      {"0 3 * jan-mar 1,sun root /bin/x a  b", "0 3 * jan-mar 1,sun|root|/bin/x a  b"},
      {"17 *\t* * *\troot    cd / && run-parts", "17 *\t* * *|root|cd / && run-parts"},
      {"  */5 1-5 1,15 * * bob\t/bin/y", "*/5 1-5 1,15 * *|bob|/bin/y"},
      {"0 3 * * * root /bin/x\r", "0 3 * * *|root|/bin/x\r"},
      {"*  * * a b root /bin/x", "*  * * a b|root|/bin/x"},
      {"a 3 * * * root /bin/x", ""},
      {"0 3 mon * * root /bin/x", ""},
      {"@reboot root /bin/x with many more words here", ""},
      {"SHELL=/bin/sh", ""},
      {"PATH=/a:/b /c d e f g h", ""},
      {"0 3 * * * root", ""},
      {"0 3 * * * root ", ""},
      {"   ", ""},
      {"", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(shown(c.line, true), c.want);
  }
}

TEST(CronLine, UsersCrontab) {
  EXPECT_EQ(shown("*/5 * * * * /bin/y", false), "*/5 * * * *||/bin/y");
  EXPECT_EQ(shown("* * * * * a b#c", false), "* * * * *||a b");
  EXPECT_EQ(shown("* * * * *  ", false), "");
  EXPECT_EQ(shown("@daily /bin/y", false), "");
}

TEST(CronLine, CuttingGivesWhatTheExpressionsGive) {
  std::mt19937 random(7);
  const char kCharacters[] = {'*', '0', 'a', ' ', ' ', '\t', '\r', '\v', '#', '/', '\xff'};
  std::uniform_int_distribution<std::size_t> character(0, sizeof(kCharacters) - 1);
  std::uniform_int_distribution<std::size_t> length(0, 40);
  int jobs = 0;
  for (int i = 0; i < 4000; ++i) {
    std::string line(length(random), ' ');
    for (char& c : line) c = kCharacters[character(random)];
    for (const bool withUser : {false, true}) {
      const std::vector<std::string> cut = byCutting(line, withUser);
      jobs += cut.empty() ? 0 : 1;
      ASSERT_EQ(cut, byExpression(line, withUser)) << testing::PrintToString(line);
    }
  }
  EXPECT_GT(jobs, 1000);
}
