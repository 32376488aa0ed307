#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <sstream>

#include "common/support/Handles.h"
#include "support/DocumentView.h"
#include "support/ProgramRun.h"

using namespace LedgoraTest;
using LedgoraCollect::FileDescriptor;

namespace {

const std::vector<const char*> kExpiry{"user_name", "user_status", "last_update_time",
                                       "passwd_expire_time", "user_expire_time"};

// A hash as crypt makes it; no part of it may leave the machine's own file.
constexpr char kHash[] = "$6$saltsaltsalt$QxHashHashHashHash";

std::string lastLogRecord(std::int32_t seconds, const std::string& terminal,
                          const std::string& host) {
  std::string bytes(292, '\0');
  std::memcpy(bytes.data(), &seconds, sizeof(seconds));
  bytes.replace(4, terminal.size(), terminal);
  bytes.replace(36, host.size(), host);
  return bytes;
}

void writeAt(const std::string& path, off_t offset, const std::string& bytes) {
  const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
  ASSERT_EQ(::pwrite(file.get(), bytes.data(), bytes.size(), offset),
            static_cast<ssize_t>(bytes.size()));
}

/// Every record goes into the log.
void logEverything(ProgramRun& program) {
  program.tree().file("config/log.ini", "[log]\nlevel=3\n");
}

void expectNoHash(const ProgramResult& result) {
  for (const std::string* text : {&result.document, &result.log, &result.out, &result.err}) {
    EXPECT_EQ(text->find("QxHash"), std::string::npos) << *text;
    EXPECT_EQ(text->find("saltsalt"), std::string::npos) << *text;
  }
}

void runTool(const std::vector<std::string>& words) {
  const ProgramResult result = runProgram(words);
  ASSERT_EQ(result.exitStatus, 0) << words[0] << ": " << result.err;
}

}  // namespace

TEST(UserInfo, ThisMachineAgreesWithGetent) {
  ProgramRun program;
  const ProgramResult result = program.type(4);
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  // getent also lists accounts with an empty shell; the document doesn't.
  std::istringstream passwd(runProgram({"/usr/bin/getent", "passwd"}).out);
  std::string want;
  int accounts = 0;
  for (std::string line; std::getline(passwd, line) && accounts < 128;) {
    if (line.back() == ':') continue;
    std::vector<std::string> fields;
    std::istringstream cut(line);
    for (std::string field; std::getline(cut, field, ':');) fields.push_back(field);
    want +=
        fields[0] + "|" + fields[2] + "|" + fields[3] + "|" + fields[5] + "|" + fields[6] + "\n";
    ++accounts;
  }
  EXPECT_EQ(documentRows(result.document, {"user_name", "user_id", "group_id", "home", "shell"}),
            want);
}

TEST(UserInfo, AccountsAsTheSystemsToolsWriteThem) {
  if (::access("/usr/sbin/useradd", X_OK) != 0 || ::access("/usr/bin/chage", X_OK) != 0) {
    GTEST_SKIP() << "no useradd or chage here";
  }
  TempRoot root;
  root.file("etc/passwd", "root:x:0:0:root:/root:/bin/bash\n")
      .file("etc/shadow", "root:*:19000:0:99999:7:::\n", 0600)
      .file("etc/group", "root:x:0:\nusers:x:100:\nstaff:x:50:alice\n")
      .file("etc/gshadow")
      .file("etc/sudoers", "root ALL=(ALL) ALL\n%staff ALL=(ALL) ALL\n")
      .dir("home");
  const std::string prefix = root.path();
  runTool({"/usr/sbin/useradd", "--prefix", prefix, "-s", "/bin/sh", "-g", "50", "-p", kHash, "-e",
           "2030-01-01", "alice"});
  runTool({"/usr/sbin/useradd", "--prefix", prefix, "-s", "/bin/sh", "-p", kHash, "locked"});
  runTool({"/usr/sbin/useradd", "--prefix", prefix, "-r", "-s", "/usr/sbin/nologin", "service"});
  runTool({"/usr/sbin/usermod", "--prefix", prefix, "-L", "locked"});
  runTool({"/usr/bin/chage", "-R", prefix, "-M", "90", "-d", "2024-01-02", "alice"});
  runTool({"/usr/bin/chage", "-R", prefix, "-d", "2024-01-02", "-M", "99999", "locked"});
  ProgramRun program;
  logEverything(program);
  const ProgramResult result = program.type(4, {"env=" + prefix});
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  std::istringstream rows(documentRows(result.document, kExpiry));
  std::string row;
  std::getline(rows, row);
  EXPECT_EQ(row, "root|1|1641600000000|0|0");
  std::getline(rows, row);
  EXPECT_EQ(row, "alice|1|1704153600000|7776000000|1893456000000");
  std::getline(rows, row);
  EXPECT_EQ(row, "locked|0|1704153600000|0|0");
  std::getline(rows, row);
  EXPECT_EQ(row.substr(0, 10), "service|0|");
  EXPECT_EQ(documentRows(result.document, {"user_name", "group_name", "permission_login",
                                           "permission_sudo", "permission_root"}),
            "root||1|0|1\nalice|staff|1|0|0\nlocked||1|0|0\nservice||0|0|0\n");
  expectNoHash(result);
}

TEST(UserInfo, LastLoginsOfASparseFileWithHalfARecord) {
  TempRoot root;
  root.file("etc/passwd", "root:x:0:0:root:/root:/bin/bash\nnever:x:5:5::/:/bin/sh\n")
      .file("var/log/lastlog", lastLogRecord(1700000000, "pts/1", "192.0.2.7"));
  const std::string path = root.path("var/log/lastlog");
  writeAt(path, 4000000LL * 292, lastLogRecord(1, "tty1", ""));
  writeAt(path, 4000001LL * 292, lastLogRecord(1, "tty1", "").substr(0, 100));
  ProgramRun program;
  logEverything(program);
  const ProgramResult result = program.type(4, {"env=" + root.path()});
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  EXPECT_EQ(documentRows(result.document, {"user_name", "last_login_time", "last_login_ip",
                                           "login_type", "last_update_time", "recordtime"}),
            "root|1700000000000|192.0.2.7|4|0|0\nnever|||0|0|0\n");
  EXPECT_EQ(result.count("name: root      time: 1700000000  type:pts/1     ip: 192.0.2.7"), 1);
}

TEST(UserInfo, ThousandsOfAccountsAndDamagedLines) {
  std::string passwd = "\n:x:1:1::/:/bin/sh\nhalf:x:1\n\xff\xfe:x:2:2::/:/bin/sh\n";
  std::string shadow = "\n" + std::string(kHash) + "\nbob:" + kHash + "\n";
  std::string group = "broken\n";
  for (int i = 0; i < 5000; ++i) {
    const std::string name = "user" + std::to_string(i);
    const std::string id = std::to_string(1000 + i);
    passwd += name + ":" + kHash + ":" + id + ":" + id + "::/home/" + name + ":/bin/sh\n";
    shadow += name + ":" + kHash + ":19000:0:90:7:::\n";
    group += "group" + id + ":x:" + id + ":" + name + "\n";
  }
  TempRoot root;
  root.file("etc/passwd", passwd).file("etc/shadow", shadow).file("etc/group", group);
  ProgramRun program;
  logEverything(program);
  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_USER=1000\n");
  const ProgramResult result = program.type(4, {"env=" + root.path()});
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  // 129 are taken, one of them without a name.
  EXPECT_EQ(documentCount(result.document), 128);
  const std::string rows =
      documentRows(result.document, {"user_name", "group_name", "user_status"});
  EXPECT_EQ(rows.substr(0, rows.find('\n', rows.find('\n') + 1)),
            "\xef\xbf\xbd\xef\xbf\xbd||0\nuser0|group1000|1");
  EXPECT_EQ(result.count("[CollectUserInfo]get line: "), 3);
  expectNoHash(result);
}

TEST(UserInfo, LimitsMissingFilesAndLinksOutOfTheRoot) {
  TempRoot outside;
  outside.file("passwd", "outsider:x:1:1::/:/bin/sh\n").file("shadow", "root:x:19000:0:90:7:::\n");
  TempRoot root;
  ProgramRun program;
  EXPECT_EQ(program.type(4, {"env=" + root.path()}).document, "{\"list\":[]}");
  root.link("etc/passwd", outside.path("passwd")).link("etc/shadow", outside.path("shadow"));
  EXPECT_EQ(program.type(4, {"env=" + root.path()}).document, "{\"list\":[]}");
  root.remove("etc/passwd");
  root.file("usr/passwd", "root:x:0:0::/root:/bin/sh\n").link("etc/passwd", "../usr/passwd");
  EXPECT_EQ(documentRows(program.type(4, {"env=" + root.path()}).document,
                         {"user_name", "last_update_time"}),
            "root|0\n");
  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_USER=0\n");
  EXPECT_EQ(program.type(4, {"env=" + root.path()}).document, "{\"list\":[]}");
}
