#include "network/SocketLine.h"

#include <sys/socket.h>

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

// No line of the two formats is as short as this, its line feed counted.
constexpr int kTooShortIpv4 = 89;
constexpr int kTooShortIpv6 = 137;

constexpr unsigned int kEstablished = 1;
constexpr unsigned int kClosed = 7;  // how an unconnected UDP socket shows
constexpr unsigned int kListen = 10;

// Behind a field's colon: four digits of the port, then the field's end.
constexpr std::size_t kFieldEnd = 5;

bool isTooShort(int length, int family) {
  if (family == AF_INET && length <= kTooShortIpv4) {
    // The word "valid" is what readers of the log search for here.
    error_output(0, "getNetworkBaseInfo", __LINE__,
                 "[CollectNetworkConnectInfo]get line length : %d is valid.", length);
    return true;
  }
  if (family == AF_INET6 && length <= kTooShortIpv6) {
    error_output(0, "getNetworkBaseInfo", __LINE__,
                 "[CollectNetworkConnectInfo]get line length: %d is valid.", length);
    return true;
  }
  return false;
}

// Ends the field at its port. Returns what stands behind it, or null if there
// is no colon with that much behind it.
char* endField(char* field) {
  char* colon = std::strchr(field, ':');
  if (colon == nullptr || std::strlen(colon) <= kFieldEnd) return nullptr;
  colon[kFieldEnd] = '\0';
  return colon + kFieldEnd + 1;
}

struct Fields {
  char* local = nullptr;
  char* remote = nullptr;
  char* rest = nullptr;  // null: the line could not be split
};

// "   0: 0100007F:0016 00000000:0000 0A ...": the number of the line ends in
// the first colon, and a blank stands behind it.
Fields splitLine(char* line) {
  Fields fields;
  char* colon = std::strchr(line, ':');
  if (colon == nullptr || std::strlen(colon) < 2) return fields;
  fields.local = colon + 2;
  fields.remote = endField(fields.local);
  if (fields.remote != nullptr) fields.rest = endField(fields.remote);
  return fields;
}

struct Numbers {
  unsigned int state = 0;
  unsigned int inode = 0;
};

// Reads as "%x %x:%x %x:%x %x %d %d %u" does: state, send and receive queue,
// timer and its value, retransmits, uid, time-out, inode.
bool readNumbers(const char* rest, Numbers& numbers) {
  constexpr struct {
    int base;
    bool colonBehind;
  } kNumbers[] = {{16, false}, {16, true},  {16, false}, {16, true}, {16, false},
                  {16, false}, {10, false}, {10, false}, {10, false}};
  unsigned int values[std::size(kNumbers)] = {};
  for (std::size_t i = 0; i < std::size(kNumbers); ++i) {
    char* end = nullptr;
    values[i] = static_cast<unsigned int>(std::strtoul(rest, &end, kNumbers[i].base));
    if (end == rest || (kNumbers[i].colonBehind && *end != ':')) return false;
    rest = kNumbers[i].colonBehind ? end + 1 : end;
  }
  numbers = {values[0], values[std::size(kNumbers) - 1]};
  return true;
}

bool isWanted(unsigned int state, int functionType) {
  switch (functionType) {
    case FUNCTION_TYPE_PORT:
      if (state == kClosed || state == kListen) return true;
      LEDGORA_DEBUG("[CollectNetworkConnectInfo]FUNCTION_TYPE_PORT state: %d",
                    static_cast<int>(state));
      return false;
    case FUNCTION_TYPE_NET:
      if (state == kEstablished) return true;
      LEDGORA_DEBUG("[CollectNetworkConnectInfo]FUNCTION_TYPE_NET state: %d",
                    static_cast<int>(state));
      return false;
    default:
      error_output(0, "getNetworkBaseInfo", __LINE__,
                   "[CollectNetworkConnectInfo]function type: %d is error", functionType);
      return false;
  }
}

void fill(const Fields& fields, int family, unsigned int inode, NETWORK_INFO_S* info) {
  INET_PREFIX_S prefix;
  parseInetAddrAndPort(fields.local, fields.remote, family, &prefix);
  info->localAddress = prefix.localAddress;
  info->localPort = std::to_string(prefix.localPort);
  info->remoteAddress = prefix.remoteAddress;
  info->remotePort = std::to_string(prefix.remotePort);
  info->inode = inode;
}

}  // namespace

int getNetworkBaseInfo(char* line, int length, int family, NETWORK_INFO_S* info, int functionType) {
  if (line == nullptr || length < 1) return -1;
  const Fields fields = isTooShort(length, family) ? Fields() : splitLine(line);
  if (fields.rest == nullptr) {
    error_output(1, __func__, __LINE__, "[CollectNetworkConnectInfo]splict line: %s error.", line);
    return -1;
  }
  Numbers numbers;
  if (!readNumbers(fields.rest, numbers) || !isWanted(numbers.state, functionType)) return -1;
  fill(fields, family, numbers.inode, info);
  return 0;
}

}  // namespace LedgoraCollect
