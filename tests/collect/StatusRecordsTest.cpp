#include <gtest/gtest.h>
#include <utmp.h>

#include <cstring>

#include "collect/status/MountTable.h"
#include "collect/status/ShutdownRecord.h"

using namespace LedgoraCollect;

namespace {

std::string show(const std::vector<_DISK_PATION_INFO_>& mounts) {
  std::string text;
  for (const auto& mount : mounts) {
    text += mount.device + "|" + mount.mountPath + "|" + mount.fileSystem + "\n";
  }
  return text;
}

std::string record(const char* user, int seconds) {
  utmp entry{};
  entry.ut_type = RUN_LVL;
  std::strncpy(entry.ut_user, user, sizeof(entry.ut_user));
  entry.ut_tv.tv_sec = seconds;
  return std::string(reinterpret_cast<const char*>(&entry), sizeof(entry));
}

}  // namespace

TEST(ParseMountTable, LinesAsKernelsWriteThem) {
  const std::string overlay = "overlay /var/lib/o overlay rw,lowerdir=" + std::string(9000, 'l');
  EXPECT_EQ(show(parseMountTable("# comment\n\n"
                                 "/dev/sda1 /mnt/two\\040words\\011tab ext4 rw 0 0\n" +
                                 overlay +
                                 " 0 0\n"
                                 "tmpfs /run tmpfs rw 0 0\n"
                                 "half\n"
                                 "half /mnt\n"
                                 "srv:/x /mnt/n nfs4 rw")),
            "/dev/sda1|/mnt/two words\ttab|ext4\n"
            "overlay|/var/lib/o|overlay\n"
            "tmpfs|/run|tmpfs\n"
            "srv:/x|/mnt/n|nfs4\n");
  EXPECT_EQ(show(parseMountTable("")), "");
}

TEST(FindShutdown, OldestOfTheFirstThousandRecords) {
  const std::string other = record("runlevel", 5);
  std::string many;
  for (int i = 0; i < 999; ++i) many += other;
  const struct {
    const char* what;
    std::string bytes;
    bool found;
    int seconds;
    int read;
    bool ended;
  } cases[] = {
      {"two shutdowns", other + record("shutdown", 100) + record("shutdown", 200), true, 100, 2,
       false},
      {"a name that only begins so", record("shutdown-helper", 7), true, 7, 1, false},
      {"none", other + other, false, 0, 2, true},
      {"half a record", record("shutdown", 100).substr(0, 383), false, 0, 0, true},
      {"last that is seen", many + record("shutdown", 9), true, 9, 1000, false},
      {"behind the first thousand", many + other + record("shutdown", 9), false, 0, 1000, false},
      {"empty", "", false, 0, 0, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const ShutdownRecord_S result = findShutdown(c.bytes);
    EXPECT_EQ(result.found, c.found);
    EXPECT_EQ(result.seconds, c.seconds);
    EXPECT_EQ(result.recordsRead, c.read);
    EXPECT_EQ(result.dataEnded, c.ended);
  }
}
