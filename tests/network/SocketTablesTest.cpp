// Socket tables and proc trees of a root that somebody else made.
#include <gtest/gtest.h>

#include "common/InspectedRoot.h"
#include "network/CollectNetConnectInfo.h"
#include "network/SocketOwners.h"
#include "support/TempRoot.h"

namespace LedgoraCollect {
namespace {

using LedgoraTest::TempRoot;
using namespace std::string_literals;

std::string listener(int inode) {
  return "   0: 0100007F:0016 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        "
         "0 " +
         std::to_string(inode) + " 1 0 100 0 0 10 0       \n";
}

std::string ipv6Listener(int inode) {
  const std::string any = std::string(32, '0');
  return "   0: " + any + ":0050 " + any +
         ":0000 0A 00000000:00000000 00:00000000 00000000     0        0 " + std::to_string(inode) +
         " 1 0000000000b107bb 100 0 0 10 0\n";
}

/// A run over a root with these tables.
class TablesRoot {
 public:
  TablesRoot() {
    InspectedRoot::setEnvironment(root.path());
    network.setEnv(root.path());
  }
  ~TablesRoot() { InspectedRoot::setEnvironment(""); }

  std::string inodes(int pid = 0) {
    SocketMap sockets;
    EXPECT_EQ(network.genericRecordGet(sockets, FUNCTION_TYPE_PORT, pid), 1);
    std::string shown;
    for (const auto& [inode, socket] : sockets) {
      shown += socket.protocol + " " + socket.localPort + " " + std::to_string(inode) + ";";
    }
    return shown;
  }

  TempRoot root;
  CollectNetConnectInfo network;
};

TEST(SocketTables, DamagedTables) {
  TablesRoot run;
  const std::string head = "  sl  local_address rem_address   st\n";
  const struct {
    const char* what;
    std::string text, want;
  } cases[] = {
      {"whole", head + listener(5) + listener(4), "tcp 22 4;tcp 22 5;"},
      {"the first of an inode stays", head + listener(4) + listener(4), "tcp 22 4;"},
      {"cut in its last line", head + listener(4) + listener(5).substr(0, 110), "tcp 22 4;"},
      {"empty lines", head + "\n\n" + listener(4), "tcp 22 4;"},
      {"the first line is the heading", listener(3) + listener(4), "tcp 22 4;"},
      {"254 characters fit",
       head + listener(4).insert(listener(4).size() - 1, 255 - listener(4).size(), ' '),
       "tcp 22 4;"},
      {"255 don't",
       head + listener(4).insert(listener(4).size() - 1, 256 - listener(4).size(), ' ') +
           listener(5),
       "tcp 22 5;"},
      {"no piece of a long line is a line",
       head + std::string(255, 'x') + listener(4) + listener(5), "tcp 22 5;"},
      {"a zero byte costs its line", head + listener(3).replace(100, 1, 1, '\0') + listener(4),
       "tcp 22 4;"},
      {"only a heading", head, ""},
      {"nothing", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    run.root.file("proc/net/tcp", c.text);
    EXPECT_EQ(run.inodes(), c.want);
  }
  SocketMap sockets;
  EXPECT_EQ(run.network.genericRecordRead(1, sockets, FUNCTION_TYPE_PORT, 0), -1);
  EXPECT_EQ(run.network.genericRecordRead(2, sockets, FUNCTION_TYPE_PORT, 0), 0);
  EXPECT_EQ(run.network.genericRecordRead(5, sockets, FUNCTION_TYPE_PORT, 0), -1);
}

TEST(SocketTables, OfTheRootAndOfOneOfItsProcesses) {
  TablesRoot run;
  run.root.link("proc/net", "self/net").link("proc/self", "812");
  run.root.file("proc/812/net/tcp", "head\n" + listener(1));  // no tcp6: a machine without IPv6
  run.root.file("proc/812/net/udp6", "head\n" + ipv6Listener(2));
  run.root.file("proc/9/net/tcp6", "head\n" + ipv6Listener(3)).fifo("proc/9/net/tcp");
  // Real tables of this machine lie behind the link, outside of the root.
  run.root.link("proc/10/net", "../../../../../../../proc/self/net");
  EXPECT_EQ(run.inodes(), "tcp 22 1;udp 80 2;");
  EXPECT_EQ(run.inodes(9), "tcp 80 3;");
  EXPECT_EQ(run.inodes(10), "tcp 22 1;udp 80 2;");  // the root's own /proc
  EXPECT_EQ(run.inodes(11), "");
}

std::string owners(const TempRoot& root) {
  OwnerMap found;
  collectSocketOwners(root.path("proc"), found);
  std::string shown;
  for (const auto& [inode, owner] : found) {
    shown += std::to_string(inode) + " " + std::to_string(owner.pid) + "/" +
             std::to_string(owner.fd) + " " + owner.processName + ";";
  }
  return shown;
}

TEST(SocketOwners, ProcTreeOfARoot) {
  TempRoot root;
  InspectedRoot::setEnvironment(root.path());
  root.file("proc/7/stat", "7 (sshd) S 1 7 7\n");
  root.link("proc/7/fd/3", "socket:[70]").link("proc/7/fd/4", "/dev/null");
  root.link("proc/7/fd/5", "socket:[").link("proc/7/fd/6", "socket:[99999999999]");
  root.link("proc/7/fd/7x", "socket:[71]").link("proc/7/fd/x", "socket:[72]");
  root.link("proc/7/fd/12", "socket:[73").file("proc/7/fd/13", "socket:[74]");
  root.file("proc/8/stat", "8 (a b (c) d) S 1\n").link("proc/8/fd/0", "socket:[80]");
  root.file("proc/9/stat", "9 () S 1\n").link("proc/9/fd/0", "socket:[90]");
  root.link("proc/10/fd/0", "socket:[100]");  // gone before its stat was read
  root.file("proc/11/stat", "11 (none) S").dir("proc/11");
  root.file("proc/12x/stat", "12 (x) S").link("proc/12x/fd/0", "socket:[120]");
  // Another directory's descriptors, and those of this process.
  root.link("proc/13/fd", "../7/fd").file("proc/13/stat", "13 (follows) S");
  root.link("proc/14/fd", "/proc/" + std::to_string(getpid()) + "/fd");
  root.file("proc/14/stat", "14 (outside) S");
  root.link("proc/15", "15").link("proc/99999999999/fd/0", "socket:[150]");
  const std::string shown = owners(root);
  InspectedRoot::setEnvironment("");
  // 70 and 73 belong to whichever of 7 and 13 the directory walk meets first.
  const std::string first = shown.substr(3, 2) == "7/" ? "7" : "13";
  const std::string name = first == "7" ? "sshd;" : "follows;";
  EXPECT_EQ(shown, "70 " + first + "/3 " + name + "73 " + first + "/12 " + name + "80 8/0 a b (c;");
}

TEST(ParseStatName, Texts) {
  EXPECT_EQ(parseStatName("812 (kworker/0:1) I 2"), "kworker/0:1");
  EXPECT_EQ(parseStatName("812 (cut"), "cut");
  for (const char* text : {"", "812", "812 ", "812 x", "x (a)", "812 ()"}) {
    EXPECT_EQ(parseStatName(text), "") << text;
  }
}

}  // namespace
}  // namespace LedgoraCollect
