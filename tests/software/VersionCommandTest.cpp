#include <gtest/gtest.h>

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
