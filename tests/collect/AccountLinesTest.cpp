#include <gtest/gtest.h>

#include <cstring>

#include "collect/users/AccountLines.h"
#include "collect/users/LastLog.h"
#include "collect/users/LoginDate.h"

using namespace LedgoraCollect;

namespace {

std::string shownPasswd(const std::string& line) {
  USER_ACCOUNT_INFO_S user;
  if (!parsePasswdLine(line, user)) return "skipped";
  return user.userName + "," + user.userId + "," + user.groupId + "," + user.home + "," +
         user.shell + ",login" + user.permissionLogin + ",root" + user.permissionRoot;
}

std::string shownShadow(const std::string& line) {
  std::string name;
  Expiry_S expiry;
  std::size_t fields = 0;
  if (!parseShadowLine(line, name, expiry, fields)) return "refused " + std::to_string(fields);
  return name + " " + std::to_string(expiry.status) + " " + std::to_string(expiry.lastChangeMs) +
         " " + std::to_string(expiry.maximumAgeMs) + " " + std::to_string(expiry.expiryMs);
}

std::string lastLogRecord(std::int32_t seconds, const std::string& line, const std::string& host) {
  std::string bytes(kLastLogRecordBytes, '\0');
  std::memcpy(bytes.data(), &seconds, sizeof(seconds));
  bytes.replace(4, line.size(), line);
  bytes.replace(36, host.size(), host);
  return bytes;
}

}  // namespace

TEST(ParsePasswdLine, FieldsAndPermissions) {
  const struct {
    const char* line;
    const char* want;
  } cases[] = {
      {"root:x:0:0:root:/root:/bin/bash", "root,0,0,/root,/bin/bash,login1,root1"},
      {"toor:x:00:0::/root:/bin/sh", "toor,00,0,/root,/bin/sh,login1,root0"},
      {"www:x:33:33:www:/var/www:/usr/sbin/nologin",
       "www,33,33,/var/www,/usr/sbin/nologin,login0,root0"},
      {"a:x:1:1::/:/bin/false", "a,1,1,/,/bin/false,login0,root0"},
      {"crlf:x:5:5::/h:/bin/sh\r", "crlf,5,5,/h,/bin/sh,login1,root0"},
      {"more:x:5:5::/h:/bin/sh:rest", "more,5,5,/h,/bin/sh,login1,root0"},
      {"noshell:x:5:5::/h:", "skipped"},
      {"six:x:5:5::/h", "skipped"},
      {"+::::::", "skipped"},
      {"", "skipped"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(shownPasswd(c.line), c.want);
  }
}

TEST(ParseShadowLine, StatusAndDays) {
  const struct {
    const char* line;
    const char* want;
  } cases[] = {
      {"a:$6$s$h:19000:0:90:7:::", "a 1 1641600000000 7776000000 0"},
      {"a:!$6$s$h:19000:0:99999:7::20000:", "a 0 1641600000000 0 1728000000000"},
      {"a:*:19000:0:0:7:::", "a 1 1641600000000 0 0"},
      {"a::19000:0:99999:7:::", "a 0 1641600000000 0 0"},
      {"a:$y$x:::::::", "a 1 0 0 0"},
      {"a:x:-1:0:x:7::5d:", "a 1 -86400000 0 432000000"},
      {"a:x:99999999999999999:0::7:::", "a 1 9223372036854775807 0 0"},
      {"a:$6$s$h:19000:0:99999:7::", "refused 7"},
      {"$6$s$half", "refused 1"},
      {"", "refused 0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(shownShadow(c.line), c.want);
  }
}

TEST(AddGroupLine, FirstNameOfAnIdAndOnlyGroupsWithMembers) {
  std::map<std::string, std::string> groups;
  for (const char* line : {"adm:x:4:syslog,bob", "second:x:4:bob", "empty:x:100:", "short:x", ""}) {
    addGroupLine(line, groups);
  }
  EXPECT_EQ(groups, (std::map<std::string, std::string>{{"4", "adm"}}));
}

TEST(AddSudoersLine, WholeLinesAreTheKeys) {
  std::map<std::string, bool> users;
  std::map<std::string, bool> groups;
  for (const char* line : {"root ALL=(ALL) ALL", "%wheel ALL=(ALL) ALL", "bob ALL=(ALL) ALL # ok",
                           "Defaults env_reset", "eve h=ALL", "x ALL=NOPASSWD: /bin/a%b", ""}) {
    addSudoersLine(line, users, groups);
  }
  EXPECT_EQ(users, (std::map<std::string, bool>{{"root ALL=(ALL) ALL", true}}));
  EXPECT_EQ(groups, (std::map<std::string, bool>{{"wheel ALL=(ALL) ALL", true},
                                                 {" ALL=NOPASSWD: /bin/a%b", true}}));
}

TEST(ParseLastLog, RecordsByUserId) {
  std::string bytes = lastLogRecord(1700000000, "pts/0", "10.0.0.9");
  bytes += std::string(kLastLogRecordBytes * 2, '\0');
  bytes += lastLogRecord(-5, std::string(32, 'T'), std::string(256, 'h'));
  bytes += lastLogRecord(1, "tty1", "").substr(0, 291);
  const std::vector<LastLogRecord_S> records = parseLastLog(bytes);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].uid, 0U);
  EXPECT_EQ(records[0].seconds, 1700000000);
  EXPECT_EQ(records[0].terminal, "pts/0");
  EXPECT_EQ(records[0].host, "10.0.0.9");
  EXPECT_EQ(records[1].uid, 3U);
  EXPECT_EQ(records[1].seconds, -5);
  EXPECT_EQ(records[1].terminal, std::string(32, 'T'));
  EXPECT_EQ(records[1].host, std::string(256, 'h'));
}

TEST(ParseLastLog, StopsAfterThe4097thRecord) {
  std::string bytes(kLastLogRecordBytes * 4096, '\0');
  bytes += lastLogRecord(1, "tty1", "") + lastLogRecord(2, "tty1", "");
  const std::vector<LastLogRecord_S> records = parseLastLog(bytes);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].uid, 4096U);
}

TEST(CheckLoginType, ByTerminal) {
  const struct {
    const char* terminal;
    int type;
  } cases[] = {{"tty1", 3}, {"TTYS0", 3}, {"ptyp0", 5}, {"pts/3", 4}, {":0", 6}, {"", 6}};
  for (const auto& c : cases) {
    int type = 0;
    checkLoginType(c.terminal, type);
    EXPECT_EQ(type, c.type) << c.terminal;
  }
}

TEST(GetLastLogTime, DatesOfLoginListings) {
  EXPECT_EQ(getLastLogTime("Tue Sept 6 14:05:09 +0800 2022"), 1662444309);
  EXPECT_EQ(getLastLogTime("Thu Jan  1 00:00:10 +0000 1970"), 10);
  EXPECT_EQ(getLastLogTime("Tue Sep 6 14:05:09 +0800 2022"), -1);
  EXPECT_EQ(getLastLogTime("**Never logged in**"), -1);
  EXPECT_EQ(convertMonthNum("Dec"), 12);
}
