#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "network/SocketLine.h"

namespace LedgoraCollect {
namespace {

constexpr int kIpv4 = 2;
constexpr int kIpv6 = 10;

// "local port remote port inode", or "" for a line that yields nothing.
std::string shown(const std::string& line, int family, int functionType) {
  std::vector<char> buffer(line.begin(), line.end());
  buffer.push_back('\0');
  NETWORK_INFO_S info;
  const int length = static_cast<int>(line.size()) + 1;
  if (getNetworkBaseInfo(buffer.data(), length, family, &info, functionType) != 0) return "";
  return info.localAddress + " " + info.localPort + " " + info.remoteAddress + " " +
         info.remotePort + " " + std::to_string(info.inode);
}

const std::string kRest4 =
    " 00000000:00000002 00:00000000 00000000     0        0 1099257 3 00000000ab4c15d3 100 0 0 10 0"
    "                   ";
const std::string kListener = "   0: 0100007F:0016 00000000:0000 0A" + kRest4;
const std::string kConnection = "10000: 0100007F:C5B8 0A01A8C0:01BB 01" + kRest4;
const std::string kDatagram =
    " 7210: 0100007F:0035 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 "
    "1099259 2 00000000469c2a93 0       ";

TEST(GetNetworkBaseInfo, LinesAsKernelsWriteThem) {
  const std::string timeWait =
      "   3: 0100007F:0016 0100007F:C5BE 06 00000000:00000000 03:00001725 00000000     0        0 "
      "0 "
      "3 00000000141d4aa8                                      ";
  const std::string user =
      "   1: 00000000:1F90 00000000:0000 0A 00000000:00000000 00:00000000 00000000 4294967294 "
      "       0 4294967295 1 0 100 0 0 10 0           ";
  const struct {
    const char* what;
    std::string line;
    int functionType;
    std::string want;
  } cases[] = {
      {"listener", kListener, FUNCTION_TYPE_PORT, "127.0.0.1 22 0.0.0.0 0 1099257"},
      {"listener is no connection", kListener, FUNCTION_TYPE_NET, ""},
      {"connection", kConnection, FUNCTION_TYPE_NET, "127.0.0.1 50616 192.168.1.10 443 1099257"},
      {"connection is no listener", kConnection, FUNCTION_TYPE_PORT, ""},
      {"unconnected UDP", kDatagram, FUNCTION_TYPE_PORT, "127.0.0.1 53 0.0.0.0 0 1099259"},
      {"time wait", timeWait, FUNCTION_TYPE_NET, ""},
      {"another function", kListener, 3, ""},
      {"largest numbers", user, FUNCTION_TYPE_PORT, "0.0.0.0 8080 0.0.0.0 0 4294967295"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(shown(c.line, kIpv4, c.functionType), c.want);
  }
}

TEST(GetNetworkBaseInfo, Ipv6AddressesInTheOrderOfTheTable) {
  const std::string any(32, '0');
  const struct {
    const char* what;
    std::string local, want;
  } cases[] = {
      {"any", any + ":0016", ":: 22"},
      {"loopback, its bytes as they stand", std::string(24, '0') + "01000000:0016", "::100:0 22"},
      {"2001:db8::1", "B80D0120000000000000000001000000:01BB", "b80d:120::100:0 443"},
      {"mapped", "0000000000000000FFFF00000100007F:0016", "::ffff:127.0.0.1 22"},
      {"reads as mapped without being it", "00000000000000000000FFFF0100007F:0016",
       "::ffff:1.0.0.127 22"},
      {"small last group", std::string(28, '0') + "0A01:0016", "::a01 22"},
      {"no address", "00000000000000000000000000000Z00:0016", " 22"},
      {"lower case is no mark of a mapped one", "0000000000000000ffff00000100007f:0016",
       "::ffff:0:100:7f 22"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string line = "   0: " + c.local + " " + any +
                             ":0000 0A 00000000:00000000 00:00000000 00000000     0        0 "
                             "1099260 1 0000000000b107bb 100 0 0 10 0";
    EXPECT_EQ(shown(line, kIpv6, FUNCTION_TYPE_PORT), c.want + " :: 0 1099260");
  }
}

std::string cut(const std::string& line, std::size_t length) { return line.substr(0, length - 1); }

// Lengths count the line feed that isn't there any more.
TEST(GetNetworkBaseInfo, DamagedLines) {
  const std::string shortNumbers =
      "0: 0:0016 0:0000 A 0:0 0:0 0 0 0 7                                                        ";
  const std::string good = "127.0.0.1 22 0.0.0.0 0 1099257";
  const struct {
    const char* what;
    std::string line, want;
  } cases[] = {
      {"89 are too short", cut(shortNumbers, 89), ""},
      {"90 aren't", cut(shortNumbers, 90), "0.0.0.0 22 0.0.0.0 0 7"},
      {"cut in the inode", cut(kListener, 93), "127.0.0.1 22 0.0.0.0 0 1"},
      {"cut in front of the inode", cut(kListener, 92), ""},
      {"no colon", std::string(100, 'x'), ""},
      {"one colon at the very end", std::string(100, 'x') + ":", ""},
      {"two colons", "0: 0100007F:0016" + std::string(100, ' '), ""},
      {"third colon too near the end", "0: 0100007F:0016 0000000" + std::string(80, '0') + ":0000",
       ""},
      {"no number for the state", "   0: 0100007F:0016 00000000:0000 zz" + kRest4, ""},
      {"queue without a colon", kListener.substr(0, 36) + " 0 0 0 0 0 0 0 0" + kRest4, ""},
      {"state beyond 32 bits", "   0: 0100007F:0016 00000000:0000 10000000A" + kRest4, good},
      {"no port", "   0: 0100007F:zzzz 00000000:0000 0A" + kRest4, "127.0.0.1 0 0.0.0.0 0 1099257"},
      {"no address", "   0: zzzzzzzz:0016 00000000:0000 0A" + kRest4,
       "0.0.0.0 0 0.0.0.0 0 1099257"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(shown(c.line, kIpv4, FUNCTION_TYPE_PORT), c.want);
  }
  EXPECT_EQ(shown(kListener.substr(0, 136), kIpv6, FUNCTION_TYPE_PORT), "");
  NETWORK_INFO_S info;
  EXPECT_EQ(getNetworkBaseInfo(nullptr, 100, kIpv4, &info, FUNCTION_TYPE_PORT), -1);
}

}  // namespace
}  // namespace LedgoraCollect
