#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include "support/Namespaces.h"
#include "support/TempRoot.h"

using namespace LedgoraTest;

// The other tests stand on these: a container that isn't one would make them
// pass for nothing.
TEST(TestContainer, IsWhatRuntimesMake) {
  TempRoot root;
  root.file("etc/hostname", "inside\n");
  ContainerOptions options;
  options.root = root.path();
  options.command = {"/bin/sh", "-c", "sleep 60 & wait"};
  options.id = std::string(62, 'a') + "07";
  options.namespaces = CLONE_NEWPID | CLONE_NEWNET;
  options.uid = 1234;
  std::string proc;
  {
    TestContainer container(options);
    proc = "/proc/" + std::to_string(container.pid());
    EXPECT_NE(readWhole(proc + "/cgroup").find("/system.slice/docker-" + options.id + ".scope"),
              std::string::npos);
    EXPECT_EQ(readWhole(proc + "/root/etc/hostname"), "inside\n");
    EXPECT_NE(readWhole(proc + "/status").find("\nUid:\t1234\t"), std::string::npos);
    EXPECT_EQ(readWhole(proc + "/net/dev").find("eth0"), std::string::npos);
  }
  EXPECT_NE(access(proc.c_str(), F_OK), 0);
}

TEST(TempRoot, NeverRemovesWhatIsMountedInIt) {
  TempRoot machine;
  machine.file("usr/bin/tool", "precious");
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, [&machine] {
    {
      TempRoot root;
      root.dir("usr 1").dir("kept").dir("removed/usr");
      for (const char* place : {"usr 1", "removed/usr"}) {
        ASSERT_EQ(
            mount(machine.path("usr").c_str(), root.path(place).c_str(), nullptr, MS_BIND, nullptr),
            0);
      }
      root.remove("removed");
      EXPECT_EQ(machine.read("usr/bin/tool"), "precious");
      EXPECT_FALSE(root.exists("removed"));
    }
    EXPECT_EQ(machine.read("usr/bin/tool"), "precious");
  }));
  EXPECT_EQ(machine.read("usr/bin/tool"), "precious");
}

TEST(PassesInNamespaces, HasItsOwnPidsAndTellsFailure) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWPID | CLONE_NEWNS | CLONE_NEWNET,
                                 [] { EXPECT_EQ(getpid(), 1); }));
  EXPECT_FALSE(passesInNamespaces(CLONE_NEWNET, [] { ADD_FAILURE() << "expected by the test"; }));
}
