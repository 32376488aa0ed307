#include <gtest/gtest.h>

#include "common/support/Handles.h"
#include "network/CollectPortInfo.h"
#include "run/CollectLimit.h"
#include "support/DocumentView.h"

namespace LedgoraCollect {
namespace {

using LedgoraTest::documentRows;

NETWORK_INFO_S socketAt(const std::string& address) {
  NETWORK_INFO_S socket;
  socket.localAddress = address;
  socket.localPort = "631";
  socket.protocol = "tcp";
  return socket;
}

ProcessCacheUnit processOf(const char* containerId, const char* type) {
  ProcessCacheUnit process;
  process.setContainerId(containerId);
  process.setContainerType(type);
  process.setProcessStartTime(1700000000);
  return process;
}

USER_ENTRY_S ownedBy(int pid) {
  USER_ENTRY_S owner;
  owner.pid = pid;
  return owner;
}

/// Limits of the run, put back at the end.
class Limits {
 public:
  Limits(unsigned int gathered, unsigned int written) {
    mRun.E_HOST_CONNECTION = gathered;
    mRun.E_HOST_PORT_LISTENING = written;
  }
  ~Limits() { mRun = mKept; }

 private:
  CollectLimit& mRun = *CollectLimit::getInstance();
  CollectLimit mKept = mRun;
};

template <class Row>
std::string rowsWritten(CollectBase& collector, std::vector<Row> rows,
                        const std::vector<const char*>& keys) {
  const JsonHandle root(cJSON_CreateObject());
  EXPECT_EQ(collector.dataToJson(&rows, root.get()), 0);
  const MallocText text(cJSON_PrintUnformatted(root.get()));
  return documentRows(text.get(), keys);
}

std::vector<PORT_INFO_S> joined(SocketMap host, CollectPortInfo::ContainerMap containers,
                                const CollectPortInfo::ProcessMap& processes,
                                const OwnerMap& owners) {
  std::vector<PORT_INFO_S> rows;
  CollectPortInfo().getProcessInfoByInode(host, containers, rows, processes, owners);
  return rows;
}

TEST(PortInfo, WhatOnlyTheMachineItselfReaches) {
  const struct {
    const char* address;
    int open;
  } cases[] = {
      {"127.0.0.1", 1},  {"0.0.0.0", 0},    {"127.10.0.1", 0},       {"127.0.0.53", 1},
      {"10.127.0.1", 0}, {"::100:0", 1},    {"::ffff:127.0.0.1", 1}, {"::", 0},
      {"::1:2", 1},      {"::ffff:a:1", 0}, {"12.127.1.2.3", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.address);
    const auto rows =
        joined({{7, socketAt(c.address)}}, {}, {{1, processOf("", "")}}, {{7, ownedBy(1)}});
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].open, c.open);
  }
}

const CollectPortInfo::ProcessMap kProcesses = {{1, processOf("", "")},
                                                {2, processOf("d", "docker")},
                                                {3, processOf("c", "containerd")},
                                                {4, processOf("p", "podman")},
                                                {5, processOf("lost", "docker")}};
const std::vector<const char*> kKeys = {"address", "environment", "start_time", "process_id"};

std::vector<PORT_INFO_S> portsOfAll() {
  // Inodes 10 to 15 belong to pids 5 to 0; each exists in every namespace.
  SocketMap host;
  OwnerMap owners;
  CollectPortInfo::ContainerMap containers;
  for (unsigned int inode = 10; inode < 16; ++inode) {
    owners[inode] = ownedBy(15 - static_cast<int>(inode));
    host[inode] = socketAt("host");
    for (const char* id : {"d", "c", "p"}) containers[id][inode] = socketAt(id);
  }
  owners[9] = ownedBy(1);  // no socket that listens
  host[16] = socketAt("owned by nobody");
  return joined(host, containers, kProcesses, owners);
}

TEST(PortInfo, SocketsAreLookedForWhereTheProcessLives) {
  const std::string pod = "p|{\"type\":0,\"id\":\"p\"}|1700000000000|4\n";
  const std::string containerd = "c|{\"type\":2,\"id\":\"c\"}|1700000000000|3\n";
  const std::string docker = "d|{\"type\":1,\"id\":\"d\"}|1700000000000|2\n";
  const std::string host = "host|{\"type\":0,\"id\":\"\"}|1700000000000|1\n";
  const struct {
    int option;
    unsigned int gathered, written;
    std::string want;
  } cases[] = {
      {0, 1024, 256, host},
      {8, 1024, 256, pod + containerd + docker + host},
      {16, 1024, 256, ""},
      {24, 1024, 256, pod + containerd + docker},
      {8, 2, 256, pod + containerd + docker},  // one more than gathered
      {8, 2, 1, pod},
      {0, 1024, 3, ""},  // what is left out counts, too
      {8, 1024, 0, ""},
      {8, 0, 256, ""},
      {8, 4294967295U, 256, ""},
      {8, 1024, 4294967295U, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.option) + " " + std::to_string(c.gathered) + " " +
                 std::to_string(c.written));
    const Limits limits(c.gathered, c.written);
    CollectPortInfo collector;
    collector.setOption(c.option);
    EXPECT_EQ(rowsWritten(collector, portsOfAll(), kKeys), c.want);
  }
}

}  // namespace
}  // namespace LedgoraCollect
