#include <gtest/gtest.h>
#include <unistd.h>

#include "hostmodel/ListedProcesses.h"
#include "software/VersionCommand.h"
#include "support/Daemons.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using namespace LedgoraTest;

namespace {

/// A process whose program has these files beside it.
struct Server {
  explicit Server(bool hangs) {
    files.copy("server", LEDGORA_TEST_DAEMON);
    if (hangs) files.file("server.hang");
    proc.pid = daemons.start(files.path("server"), {});
    proc.userUid = "0";
  }
  std::string ask(VersionCommand& commands, const std::string& more = {}) {
    std::string output;
    const bool ran =
        commands.run("", proc, files.path("server") + " --version" + more, "/bin", output);
    return (ran ? "ran: " : "failed: ") + output;
  }
  std::size_t asked() const {
    return files.exists("server.ran") ? files.read("server.ran").size() : 0;
  }

  TempRoot files;
  Daemons daemons;
  PROC_EX_INFO_S proc;
};

}  // namespace

TEST(VersionCommand, OneLineRunsOnce) {
  Server server(false);
  VersionCommand commands;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(server.ask(commands), "ran: server version 1.2.3\n");
  EXPECT_EQ(server.asked(), 1u);
  EXPECT_EQ(server.ask(commands, " again"), "ran: server version 1.2.3\n");
  EXPECT_EQ(server.asked(), 2u);
}

// A line that hangs costs its limit once; after three of one user none of his
// is run any more, but those of others are.
TEST(VersionCommand, WhatHangsIsNotRunAgain) {
  Server server(true);
  VersionCommand commands(1);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(server.ask(commands), "failed: ");
  EXPECT_EQ(server.asked(), 1u);
  for (const char* more : {" 2", " 3", " 4", " 5"})
    EXPECT_EQ(server.ask(commands, more), "failed: ");
  EXPECT_EQ(server.asked(), 3u);
  Server other(false);
  EXPECT_EQ(other.ask(commands), "failed: ");
  other.proc.userUid = "1";
  EXPECT_EQ(other.ask(commands), "ran: server version 1.2.3\n");
}

// Between the list and the command a number may go to another process, and a
// process may become a set-id program: neither lends its rights to the command.
TEST(VersionCommand, RunsOnlyForTheListedProcess) {
  static constexpr char kRan[] = "ran: server version 1.2.3\n";
  constexpr struct {
    const char* what;
    bool startsBefore;
    const char* uid;
    const char* program;  // null: its own
    const char* answer;
  } kCases[] = {
      {"the same", true, "0", nullptr, kRan},
      {"became another program", true, "0", "/usr/bin/other", "failed: "},
      {"had fewer rights", true, "1000", nullptr, "failed: "},
      {"started later", false, "0", nullptr, "failed: "},
  };
  for (const auto& each : kCases) {
    if (!each.startsBefore) ListedProcesses::begin();
    usleep(50000);  // several ticks of the kernel's clock
    Server server(false);
    if (each.startsBefore) ListedProcesses::begin();
    ListedProcesses::note(server.proc.pid, each.uid,
                          each.program != nullptr ? each.program : server.files.path("server"));
    VersionCommand commands;
    EXPECT_EQ(server.ask(commands), each.answer) << each.what;
  }
}
