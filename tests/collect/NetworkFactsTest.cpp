#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "collect/NetworkFacts.h"

namespace LedgoraCollect {
namespace {

std::string inet6(const std::string& text) {
  InterfaceAddresses addresses;
  parseIfInet6(text, addresses);
  std::string shown;
  for (const auto& [name, ip] : addresses) {
    shown += name + " " + ip.ip + "/" + std::to_string(ip.subnet) + ";";
  }
  return shown;
}

TEST(ParseIfInet6, RecordsAsKernelsWriteThem) {
  const std::string lo = "00000000000000000000000000000001 01 80 10 80       lo\n";
  const std::string link = "fe800000000000000042acfffe110002 0c 40 20 80     eth0\n";
  const struct {
    const char* what;
    std::string text, want;
  } cases[] = {
      {"two interfaces", link + lo, "eth0 fe80::42:acff:fe11:2/64;lo ::1/128;"},
      {"order within one", "20010db8000000000000000000000001 02 40 00 80 eth0\n" + link,
       "eth0 2001:db8::1/64;eth0 fe80::42:acff:fe11:2/64;"},
      {"no dotted tail but for mapped ones",
       "0000000000000000000000000a000001 02 60 00 80 a\n"
       "00000000000000000000ffff0a000001 02 60 00 80 b\n",
       "a ::a00:1/96;b ::ffff:10.0.0.1/96;"},
      {"a group that is none costs its record", "zz" + lo.substr(2) + link,
       "eth0 fe80::42:acff:fe11:2/64;"},
      {"cut short", lo + "fe80000000000000", "lo ::1/128;"},
      {"long name is cut at 20 characters and ends the table",
       "fe800000000000000042acfffe110002 02 40 20 80 " + std::string(21, 'n') + "\n" + lo,
       std::string(20, 'n') + " fe80::42:acff:fe11:2/64;"},
      {"empty", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(inet6(c.text), c.want);
  }
}

std::string routes(const std::string& lines) {
  std::map<std::string, std::string> gateways;
  parseDefaultGateways(
      "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT   \n" +
          lines,
      gateways);
  std::string shown;
  for (const auto& [name, gateway] : gateways) shown += name + " " + gateway + ";";
  return shown;
}

TEST(ParseDefaultGateways, RoutesAsKernelsWriteThem) {
  const std::string eth0 = "eth0\t00000000\t0101A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0   \n";
  const struct {
    const char* what;
    std::string text, want;
  } cases[] = {
      {"default", eth0, "eth0 192.168.1.1;"},
      {"first of an interface",
       eth0 + "eth0\t00000000\tFE01A8C0\t0003\t0\t0\t50\t00000000\t0\t0\t0\n", "eth0 192.168.1.1;"},
      {"two interfaces", eth0 + "wlan0\t00000000\t0100000A\t0003\t0\t0\t0\t00000000\t0\t0\t0\n",
       "eth0 192.168.1.1;wlan0 10.0.0.1;"},
      {"more flags", "e\t00000000\t0100000A\t0013\t0\t0\t0\t00000000\t0\t0\t0\n", "e 10.0.0.1;"},
      {"not up", "e\t00000000\t0100000A\t0002\t0\t0\t0\t00000000\t0\t0\t0\n", ""},
      {"no gateway", "e\t00000000\t00000000\t0001\t0\t0\t0\t00000000\t0\t0\t0\n", ""},
      {"a network", "e\t0000000A\t0100000A\t0003\t0\t0\t0\t000000FF\t0\t0\t0\n", ""},
      {"half of everything", "e\t00000000\t0100000A\t0003\t0\t0\t0\t00000080\t0\t0\t0\n", ""},
      {"big metric", "e\t00000000\t0100000A\t0003\t0\t0\t4294967295\t00000000\t0\t0\t0\n",
       "e 10.0.0.1;"},
      {"a broken line ends the table", "e\t0x\n" + eth0, ""},
      {"none", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(routes(c.text), c.want);
  }
}

TEST(PrefixLength, LeadingOnes) {
  const struct {
    const char* mask;
    int want;
  } cases[] = {{"0.0.0.0", 0},
               {"255.255.255.255", 32},
               {"255.255.240.0", 20},
               {"255.0.255.0", 8},
               {"127.255.255.255", 0}};
  for (const auto& c : cases) EXPECT_EQ(prefixLength(::inet_addr(c.mask)), c.want) << c.mask;
}

}  // namespace
}  // namespace LedgoraCollect
