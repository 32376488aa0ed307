#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/CommandIdentity.h"
#include "common/support/CommandRunner.h"
#include "common/support/ProcessTree.h"

namespace LedgoraCollect {
namespace {

std::string show(const CommandIdentity& identity) {
  std::string text = std::to_string(identity.uid) + ":" + std::to_string(identity.gid) + " ";
  for (const gid_t group : identity.groups) text += std::to_string(group) + ",";
  return text + " " + std::to_string(identity.capabilityBounds);
}

std::string status(const std::string& uid, const std::string& gid, const std::string& groups,
                   const std::string& bounds) {
  return "Name:\tUid:\t0\nUmask:\t0022\nUid:\t" + uid + "\nGid:\t" + gid +
         "\nFDSize:\t64\nGroups:\t" + groups + "\nCapAmb:\t0000000000000000\nCapBnd:\t" + bounds +
         "\nNoNewPrivs:\t0\n";
}

TEST(CommandIdentity, AsTheKernelWritesIt) {
  const std::string bounds = "000001ffffffffff";
  const struct {
    const char* what;
    std::string text, want;
  } cases[] = {
      {"user", status("33\t33\t33\t33", "33\t33\t33\t33", "4 33 ", bounds),
       "33:33 4,33, 2199023255551"},
      {"root without groups", status("0\t0\t0\t0", "0\t0\t0\t0", " ", "00000000a80425fb"),
       "0:0  2818844155"},
      {"set-id program of a user", status("1000\t0\t0\t0", "1000\t0\t0\t0", "", bounds),
       "1000:1000  2199023255551"},
      {"root gave up for a while", status("0\t99\t0\t99", "0\t98\t0\t98", "", bounds),
       "99:98  2199023255551"},
      {"no number", status("33\tx\t33\t33", "0\t0\t0\t0", "", bounds), ""},
      {"beyond the type", status("99999999999\t0\t0\t0", "0\t0\t0\t0", "", bounds), ""},
      {"bad group", status("0\t0\t0\t0", "0\t0\t0\t0", "4 -3", bounds), ""},
      {"cut", "Name:\tx\nUid:\t33\t33", ""},
      {"empty", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    CommandIdentity identity;
    EXPECT_EQ(parseCommandIdentity(c.text, identity) ? show(identity) : "", c.want);
    EXPECT_TRUE(identity.noNewPrivileges);
  }
  CommandIdentity gone;
  EXPECT_FALSE(readCommandIdentity(0, gone));
}

std::string runAs(const CommandIdentity& identity, const std::string& command, int& result) {
  CommandRequest request;
  request.command = command;
  request.timeoutSeconds = 20;
  request.options.identity = &identity;
  char buffer[1024];
  result = runCommandIntoBuffer(request, buffer, sizeof buffer);
  return buffer;
}

TEST(CommandIdentity, TheShellHasNoMoreThanTheProcess) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  const std::string fields =
      "sed -n -e '/^[UG]id/p' -e '/^Groups/p' -e '/^Cap/p' -e '/^NoNew/p' /proc/self/status";
  int result = 1;
  const CommandIdentity user{4711, 4712, {4713, 4714}, 0x401, true};
  EXPECT_EQ(runAs(user, fields, result),
            "Uid:\t4711\t4711\t4711\t4711\nGid:\t4712\t4712\t4712\t4712\nGroups:\t4713 4714 \n"
            "CapInh:\t0000000000000000\nCapPrm:\t0000000000000000\nCapEff:\t0000000000000000\n"
            "CapBnd:\t0000000000000401\nCapAmb:\t0000000000000000\nNoNewPrivs:\t1\n");
  EXPECT_EQ(result, 0);
  // A container's root: the bounding set is what it has.
  const CommandIdentity confined{0, 0, {}, 0xfb, true};
  EXPECT_EQ(runAs(confined, "sed -n '/^CapEff/p' /proc/self/status", result),
            "CapEff:\t00000000000000fb\n");
  // What it leaves is ended, though it belongs to another user.
  EXPECT_EQ(runAs(user, "setsid sleep 4711 & echo a", result), "a\n");
  EXPECT_EQ(result, 0);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(CommandIdentity, WhatCannotBeAssuredIsNotRun) {
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setuid(4711) != 0) _exit(2);
    const CommandIdentity other{4712, 4712, {}, ~std::uint64_t{0}, true};
    int result = 0;
    const std::string out = runAs(other, "echo ran", result);
    _exit(result == kCommandNotStarted && out.empty() ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(ProcessTree, LinesOfStat) {
  const std::string rest = " 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 987654 18";
  const struct {
    const char* what;
    std::string line, want;
  } cases[] = {
      {"plain", "71 (sh) S 70 69" + rest, "71 70 69 987654"},
      {"name like a line", "71 (a) R 1 1 (b) S 70 69" + rest, "71 70 69 987654"},
      {"line end in the name", "71 (a\n) S 70 69" + rest, "71 70 69 987654"},
      {"cut before the start", "71 (sh) S 70 69 1 2 3", ""},
      {"no name", "71 S 70 69" + rest, ""},
      {"no number", "x (sh) S 70 69" + rest, ""},
      {"empty", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ProcessNode_S node;
    const bool read = parseProcessStat(c.line, node);
    EXPECT_EQ(read ? std::to_string(node.pid) + " " + std::to_string(node.parent) + " " +
                         std::to_string(node.group) + " " + std::to_string(node.startTicks)
                   : "",
              c.want);
  }
}

TEST(ProcessTree, DescendantsWhateverTheOrder) {
  const std::vector<ProcessNode_S> all = {{9, 8, 1, 1},   {8, 5, 1, 1},  {5, 1, 1, 1}, {6, 1, 1, 1},
                                          {7, 6, 1, 1},   {10, 9, 1, 1}, {1, 0, 1, 1}, {0, 0, 1, 1},
                                          {20, 21, 1, 1}, {21, 20, 1, 1}};  // a torn snapshot
  std::string found;
  for (const ProcessNode_S& node : descendantsOf(5, all)) found += std::to_string(node.pid) + " ";
  EXPECT_EQ(found, "8 9 10 ");
  EXPECT_EQ(descendantsOf(20, all).size(), 1U);
  EXPECT_TRUE(descendantsOf(10, all).empty());
}

}  // namespace
}  // namespace LedgoraCollect
