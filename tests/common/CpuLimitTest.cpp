#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "common/support/ControlGroup.h"
#include "common/support/CpuLimit.h"
#include "support/TempRoot.h"

namespace LedgoraCollect {
namespace {

using LedgoraTest::TempRoot;

constexpr const char* kName = "ledgora_collect";

/// A tree that stands for the mounted hierarchies. Plain files take what is
/// written to them, so groups have to be there with their files.
struct Hierarchy {
  TempRoot tree;
  CpuLimitSources sources;

  Hierarchy(const std::string& kind, const std::string& ownGroups, long processors = 32) {
    tree.file("mountinfo", "30 1 0:2 / " + tree.path() + "/g rw - " + kind + "\n");
    tree.file("cgroup", ownGroups);
    sources = {tree.path("mountinfo"), tree.path("cgroup"), processors};
  }
  Hierarchy& unified(const std::string& group, const std::string& limit,
                     const std::string& members = "") {
    tree.file("g/" + group + "/cpu.max", limit + "\n");
    tree.file("g/" + group + "/cgroup.procs", members);
    return *this;
  }
  Hierarchy& legacy(const std::string& group, const std::string& quota, const std::string& period,
                    const std::string& members = "") {
    tree.file("g/" + group + "/cpu.cfs_quota_us", quota + "\n");
    tree.file("g/" + group + "/cpu.cfs_period_us", period + "\n");
    tree.file("g/" + group + "/cgroup.procs", members);
    return *this;
  }
};

constexpr const char* kUnified = "cgroup2 cgroup2 rw,nsdelegate";

TEST(CpuLimit, ShareOfTheMachine) {
  const struct {
    int limit;
    long processors;
    std::int64_t quotaUs;
  } cases[] = {{10, 1, 200000},   {10, 2, 200000},   {10, 4, 400000},
               {10, 64, 6400000}, {100, 4, 4000000}, {1000, 4, 4000000},
               {0, 64, 200000},   {-5, 64, 200000},  {100, 0, 1000000}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.limit) + " of " + std::to_string(c.processors));
    EXPECT_EQ(quotaOf(c.limit, c.processors), c.quotaUs);
  }
}

TEST(CpuLimit, UnifiedGroupBelowOurOwn) {
  Hierarchy h(kUnified, "0::/agent\n");
  h.tree.file("g/agent/cgroup.subtree_control", "cpu memory\n");
  h.tree.file("g/cgroup.subtree_control", "cpu\n");
  h.unified("agent", "max 100000").unified("agent/ledgora_collect", "max 100000");
  EXPECT_EQ(setCpuLimit(10, kName, h.sources), 0);
  EXPECT_EQ(h.tree.read("g/agent/ledgora_collect/cpu.max"), "3200000 1000000");
  EXPECT_EQ(h.tree.read("g/agent/ledgora_collect/cgroup.procs"), "0");
  EXPECT_FALSE(h.tree.exists("g/ledgora_collect"));
}

TEST(CpuLimit, UnifiedGroupBelowTheRootTakesOverLowerLimits) {
  const struct {
    const char* what;
    const char* above;    // limit of the slice
    const char* own;      // limit of the group that we leave
    const char* present;  // limit of the shared group
    const char* members;  // of the shared group
    const char* want;
  } cases[] = {
      {"none", "max 100000", "max 100000", "max 100000", "", "3200000 1000000"},
      {"our group's", "max 100000", "50000 100000", "max 100000", "", "500000 1000000"},
      {"one above", "40000 100000", "50000 100000", "max 100000", "", "400000 1000000"},
      {"higher ones", "6400000 100000", "max 100000", "max 100000", "", "3200000 1000000"},
      {"an old run's", "max 100000", "max 100000", "100000 1000000", "", "3200000 1000000"},
      {"a running one's", "max 100000", "max 100000", "100000 1000000", "77\n", "100000 1000000\n"},
      {"lower than a running one's", "max 100000", "5000 100000", "100000 1000000", "77\n",
       "50000 1000000"},
      {"no number", "9x 100000", "99999999999999999999 1", "max 100000", "", "3200000 1000000"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Hierarchy h(kUnified, "0::/system.slice/agent.service\n");
    h.tree.file("g/cgroup.subtree_control", "cpuset cpu io\n");
    h.tree.file("g/system.slice/agent.service/cgroup.subtree_control", "\n");
    h.unified("system.slice", c.above).unified("system.slice/agent.service", c.own);
    h.unified(kName, c.present, c.members);
    EXPECT_EQ(setCpuLimit(10, kName, h.sources), 0);
    EXPECT_EQ(h.tree.read("g/ledgora_collect/cpu.max"), c.want);
    EXPECT_EQ(h.tree.read("g/ledgora_collect/cgroup.procs").substr(0, 1), "0");
    EXPECT_EQ(h.tree.read("g/cgroup.subtree_control"), "cpuset cpu io\n") << "never changed";
  }
}

TEST(CpuLimit, LegacyHierarchyOfTheController) {
  Hierarchy h("cgroup cgroup rw,cpu,cpuacct", "5:cpuset:/x\n4:cpu,cpuacct:/a:b\n0::/\n");
  h.legacy("a:b", "150000", "100000").legacy("a:b/ledgora_collect", "-1", "100000");
  EXPECT_EQ(setCpuLimit(10, kName, h.sources), 0);
  EXPECT_EQ(h.tree.read("g/a:b/ledgora_collect/cpu.cfs_quota_us"), "1500000");
  EXPECT_EQ(h.tree.read("g/a:b/ledgora_collect/cpu.cfs_period_us"), "1000000");
  EXPECT_EQ(h.tree.read("g/a:b/ledgora_collect/cgroup.procs"), "0");
}

TEST(CpuLimit, ARunInTheSharedGroupStaysThere) {
  Hierarchy h(kUnified, "0::/ledgora_collect\n");
  h.tree.file("g/cgroup.subtree_control", "cpu\n");
  h.tree.file("g/ledgora_collect/cgroup.subtree_control", "cpu\n");
  h.unified(kName, "200000 1000000", "1\n").unified("ledgora_collect/ledgora_collect", "max 1");
  EXPECT_EQ(setCpuLimit(10, kName, h.sources), 0);
  EXPECT_EQ(h.tree.read("g/ledgora_collect/cpu.max"), "200000 1000000\n");
  EXPECT_EQ(h.tree.read("g/ledgora_collect/ledgora_collect/cgroup.procs"), "");
}

TEST(CpuLimit, WhereTheHierarchyIs) {
  const struct {
    const char* what;
    const char* mountInfo;
    GroupInterface interface;
    const char* want;  // root and point
  } cases[] = {
      {"unified", "31 1 0:2 / /sys/fs/cgroup rw shared:9 - cgroup2 none rw",
       GroupInterface::Unified, "/ /sys/fs/cgroup"},
      {"blank in the point", "31 1 0:2 /d /a\\040b rw - cgroup2 none rw", GroupInterface::Unified,
       "/d /a b"},
      {"cpuset and cpuacct aren't it",
       "31 1 0:2 / /a rw - cgroup c rw,cpuset\n32 1 0:2 / /b rw - cgroup c rw,cpuacct\n"
       "33 1 0:2 / /c rw - cgroup c rw,cpuacct,cpu",
       GroupInterface::Legacy, "/ /c"},
      {"not mounted", "31 1 0:2 / / rw - ext4 /dev/vda rw,cpu", GroupInterface::Legacy, ""},
      {"cut", "31 1 0:2 / - cgroup2 none rw\n31 - cgroup2", GroupInterface::Unified, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    GroupMount_S mount;
    const bool found = findGroupMount(c.mountInfo, c.interface, mount);
    EXPECT_EQ(found ? mount.root + " " + mount.point : "", c.want);
  }
  const GroupMount_S bound{"/g", "/docker/1"};
  EXPECT_EQ(groupDirectory(bound, "/docker/1/x"), "/g/x");
  EXPECT_EQ(groupDirectory(bound, "/docker/1"), "/g");
  EXPECT_EQ(groupDirectory(bound, "/docker/12"), "/g");
  EXPECT_EQ(groupDirectory({"/g", "/"}, "/../out"), "/g");
}

/// Runs in a child: what it changes can't be taken back.
bool inChild(const std::function<bool()>& check) {
  const pid_t child = fork();
  if (child == 0) _exit(check() ? 0 : 1);
  int status = -1;
  waitpid(child, &status, 0);
  return status == 0;
}

TEST(CpuLimit, WithoutGroupsThePriorityIsLowered) {
  EXPECT_TRUE(inChild([] {
    const CpuLimitSources nothing{"/nonexistent", "/nonexistent", 4};
    return setCpuLimit(10, kName, nothing) == 0 && getpriority(PRIO_PROCESS, 0) == 19 &&
           sched_getscheduler(0) == SCHED_BATCH;
  }));
}

TEST(CpuLimit, NamesThatAreNoGroup) {
  for (const char* name : {static_cast<const char*>(nullptr), "", ".", "..", "a/b"}) {
    EXPECT_NE(set_cpu_limit(10, name), 0) << (name != nullptr ? name : "null");
  }
}

TEST(CpuLimit, OnThisMachineAGroupHoldsTheProcess) {
  const std::string name = "ledgora_test_" + std::to_string(getpid());
  std::string text = LedgoraTest::readWhole("/proc/self/mountinfo");
  const std::string groups = LedgoraTest::readWhole("/proc/self/cgroup");
  GroupMount_S mount;
  std::string own;
  if (!findGroupMount(text, GroupInterface::Legacy, mount) ||
      !findOwnGroup(groups, GroupInterface::Legacy, own)) {
    GTEST_SKIP() << "no legacy hierarchy with the processor controller";
  }
  const std::string directory = groupDirectory(mount, own) + "/" + name;
  if (access(groupDirectory(mount, own).c_str(), W_OK) != 0) GTEST_SKIP() << "not writable";
  const auto enter = [&] {
    std::string now;
    return set_cpu_limit(10, name.c_str()) == 0 &&
           findOwnGroup(LedgoraTest::readWhole("/proc/self/cgroup"), GroupInterface::Legacy, now) &&
           now.substr(now.rfind('/') + 1) == name;
  };
  EXPECT_TRUE(inChild(enter));
  EXPECT_TRUE(inChild(enter)) << "the group is left for the next run";
  EXPECT_EQ(readGroupQuota(directory, GroupInterface::Legacy),
            quotaOf(10, sysconf(_SC_NPROCESSORS_ONLN)));
  EXPECT_EQ(rmdir(directory.c_str()), 0);
}

}  // namespace
}  // namespace LedgoraCollect
