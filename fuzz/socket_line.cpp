// A socket table as a whole and the texts that tell a socket's owner.
#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ScratchFile.h"
#include "network/SocketLine.h"
#include "network/SocketOwners.h"
#include "network/SocketTable.h"

using namespace LedgoraCollect;

namespace {

bool isPort(const std::string& text) {
  return !text.empty() && text.size() <= 5 && std::stoi(text) <= 65535;
}

// IPv6 fields that are no address give an empty text, IPv4 fields never.
bool isAddress(const std::string& text, int family) {
  in6_addr address{};
  return (family == AF_INET6 && text.empty()) || ::inet_pton(family, text.c_str(), &address) == 1;
}

void parseLine(const std::string& line, int length, int family, int functionType) {
  std::string buffer = line;
  NETWORK_INFO_S info;
  if (getNetworkBaseInfo(buffer.data(), length, family, &info, functionType) != 0) return;
  if (!isPort(info.localPort) || !isPort(info.remotePort) ||
      !isAddress(info.localAddress, family) || !isAddress(info.remoteAddress, family)) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  static ScratchFile file;
  file.write(data, size);
  SocketTable table(FileHandle(std::fopen(file.path(), "r")));
  table.skipHeading();
  while (const char* line = table.nextLine()) {
    if (std::string(line).size() + 1 != static_cast<std::size_t>(table.length())) std::abort();
    for (const int family : {AF_INET, AF_INET6}) {
      parseLine(line, table.length(), family, FUNCTION_TYPE_PORT);
      parseLine(line, table.length(), family, FUNCTION_TYPE_NET);
    }
  }
  unsigned int inode = 0;
  parseSocketLink(text, inode);
  const std::string name = parseStatName(text);
  if (name.find(')') != std::string::npos) std::abort();
  return 0;
}
