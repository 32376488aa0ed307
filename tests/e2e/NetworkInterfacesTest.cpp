#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

#include "common/support/Handles.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

using namespace LedgoraTest;

namespace LedgoraCollect {
namespace {

// Without the profile of whoever runs the test, which a login shell reads.
struct QuickRun : ProgramRun {
  QuickRun() { environment("HOME", "/nonexistent"); }
};

struct Nic {
  std::string mac, gateway, ipv4;
  std::set<std::string> ipv6;  // "address/prefix"

  std::string show() const { return mac + " via '" + gateway + "' " + ipv4; }
};
using Nics = std::map<std::string, Nic>;

std::string output(const std::string& line) { return runProgram({"/bin/sh", "-c", line}).out; }

std::string member(const cJSON* object, const char* key) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
  return cJSON_IsString(item) ? item->valuestring : "";
}

std::string addressText(const cJSON* address) {
  const cJSON* prefix = cJSON_GetObjectItemCaseSensitive(address, "prefixlen");
  return member(address, "local") + "/" + std::to_string(prefix ? prefix->valueint : -1);
}

bool isLoopback(const cJSON* link) {
  const cJSON* flag = nullptr;
  cJSON_ArrayForEach(flag, cJSON_GetObjectItem(link, "flags")) {
    if (std::string(flag->valuestring) == "LOOPBACK") return true;
  }
  return false;
}

void addAddresses(const cJSON* link, Nic& nic) {
  const cJSON* address = nullptr;
  cJSON_ArrayForEach(address, cJSON_GetObjectItem(link, "addr_info")) {
    if (member(address, "family") == "inet6") nic.ipv6.insert(addressText(address));
    if (member(address, "family") == "inet" && nic.ipv4.empty()) nic.ipv4 = addressText(address);
  }
}

// What `ip` says of the interfaces that have an IPv4 address.
Nics nicsOfIp() {
  Nics nics;
  const JsonHandle links(cJSON_Parse(output("ip -j addr").c_str()));
  const cJSON* link = nullptr;
  cJSON_ArrayForEach(link, links.get()) {
    if (isLoopback(link)) continue;
    Nic nic;
    nic.mac = member(link, "address");
    std::transform(nic.mac.begin(), nic.mac.end(), nic.mac.begin(), ::toupper);
    addAddresses(link, nic);
    if (!nic.ipv4.empty()) nics.emplace(member(link, "ifname"), nic);
  }
  const JsonHandle routes(cJSON_Parse(output("ip -j route").c_str()));
  const cJSON* route = nullptr;
  cJSON_ArrayForEach(route, routes.get()) {
    const auto nic = nics.find(member(route, "dev"));
    if (member(route, "dst") != "default" || nic == nics.end()) continue;
    if (nic->second.gateway.empty()) nic->second.gateway = member(route, "gateway");
  }
  return nics;
}

Nics nicsOfDocument(const ProgramResult& result) {
  Nics nics;
  const JsonHandle document(cJSON_Parse(result.document.c_str()));
  const cJSON* item = nullptr;
  cJSON_ArrayForEach(item, cJSON_GetObjectItem(document.get(), "interfaces")) {
    Nic nic;
    nic.mac = item->string;
    nic.gateway = member(item, "gateway");
    const cJSON* ip = nullptr;
    cJSON_ArrayForEach(ip, cJSON_GetObjectItem(item, "ips")) {
      const std::string shown = std::string(ip->string) + "/" + member(ip, "subnet");
      if (shown.find(':') != std::string::npos) {
        nic.ipv6.insert(shown);
      } else {
        nic.ipv4 += shown;
      }
    }
    EXPECT_TRUE(nics.emplace(member(item, "name"), nic).second) << "listed twice";
  }
  return nics;
}

void expectAgreement(const Nics& document, const Nics& ip) {
  for (const auto& [name, nic] : document) {
    SCOPED_TRACE(name);
    ASSERT_EQ(ip.count(name), 1U);
    EXPECT_EQ(nic.show(), ip.at(name).show());
    EXPECT_EQ(nic.ipv6.size(), std::min<std::size_t>(1, ip.at(name).ipv6.size()));
    for (const std::string& address : nic.ipv6) EXPECT_EQ(ip.at(name).ipv6.count(address), 1U);
  }
}

// Runs type 1 in a network namespace that `setUp` has furnished.
void inNetwork(const std::string& setUp, std::size_t wantedNics) {
  SCOPED_TRACE(setUp.substr(0, 200));
  const auto body = [&] {
    ASSERT_EQ(runProgram({"/bin/sh", "-ec", setUp}).exitStatus, 0);
    const ProgramResult result = QuickRun().type(1);
    ASSERT_TRUE(result.hasDocument) << result.log;
    const Nics nics = nicsOfDocument(result);
    EXPECT_EQ(nics.size(), wantedNics);
    expectAgreement(nics, nicsOfIp());
  };
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNET, body));
}

constexpr const char* kPair =
    "ip link add a0 type veth peer name b0; ip link set a0 up; ip link set b0 up;";

TEST(NetworkInterfaces, ThisMachineAgreesWithIp) {
  const Nics ip = nicsOfIp();
  const Nics nics = nicsOfDocument(QuickRun().type(1));
  EXPECT_EQ(nics.size(), ip.size());
  expectAgreement(nics, ip);
}

TEST(NetworkInterfaces, NetworksOfAllKinds) {
  const std::string pair = kPair;
  inNetwork("true", 0);
  inNetwork(pair, 0);
  inNetwork(pair +
                "ip addr add 10.1.2.3/20 dev a0; ip addr add 10.1.2.4/20 dev a0;"
                "ip addr add 172.16.0.1/31 dev a0; ip addr add 192.168.9.9/32 dev b0",
            2);
  inNetwork(pair +
                "ip addr add 10.0.0.2/24 dev a0; ip route add default via 10.0.0.1 metric 50;"
                "ip route add default via 10.0.0.254 metric 20;"
                "ip route add 10.9.0.0/16 via 10.0.0.9",
            1);
  inNetwork(pair +
                "ip addr add 10.0.0.2/24 dev a0; ip addr add 10.0.1.2/24 dev b0;"
                "ip route add default via 10.0.0.1 metric 5;"
                "ip route add default via 10.0.1.1 metric 6",
            2);
  inNetwork(pair + "ip addr add 2001:db8::5/64 dev a0 nodad; ip route add default via 2001:db8::1",
            0);
  inNetwork(pair +
                "ip addr add 10.0.0.2/24 dev a0; ip addr add 2001:db8::5/126 dev a0 nodad;"
                "ip addr add fd00::1:2/48 dev a0 nodad; ip link set b0 down",
            1);
}

// The kernel is asked with room for 25 addresses, the loopback's among them.
TEST(NetworkInterfaces, ThirtyInterfacesAreCutAtTheRoomForTheirNames) {
  inNetwork(
      "for i in 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14; do\n"
      "  ip link add a$i type veth peer name b$i; ip link set a$i up; ip link set b$i up\n"
      "  ip addr add 10.1.$i.1/24 dev a$i; ip addr add 10.2.$i.1/24 dev b$i\n"
      "done",
      24);
}

TEST(NetworkInterfaces, LimitOfTheConfiguration) {
  const auto body = [] {
    const std::string setUp = std::string(kPair) +
                              "ip addr add 10.0.0.2/24 dev a0;"
                              "ip addr add 10.0.1.2/24 dev b0";
    ASSERT_EQ(runProgram({"/bin/sh", "-ec", setUp}).exitStatus, 0);
    const struct {
      const char* limit;
      std::size_t want;
    } cases[] = {{"1", 1}, {"0", 0}, {"-1", 0}, {"2", 2}};
    for (const auto& c : cases) {
      QuickRun program;
      program.tree().file("config/hostlimit.ini", std::string("[host_limit]\n") +
                                                      "E_HOST_INFO_INTERFACES=" + c.limit + "\n");
      EXPECT_EQ(nicsOfDocument(program.type(1)).size(), c.want) << c.limit;
    }
  };
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNET, body));
}

}  // namespace
}  // namespace LedgoraCollect
