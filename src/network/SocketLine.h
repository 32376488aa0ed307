#pragma once

#include "network/NetworkRecords.h"

namespace LedgoraCollect {

/// Turns the address fields of a line ("0100007F:0016", in IPv6 tables 32
/// hexadecimal digits in front of the colon) into text. What can't be read
/// stays 0 or empty. Always 0.
int parseInetAddrAndPort(const char* local, const char* remote, int family, INET_PREFIX_S* prefix);

/// Understands one line of the form of /proc/net/tcp. `line` (its line feed
/// replaced by a zero byte) is written to; `length` counts the line feed.
/// `family` is 2 or 10. Returns 0 and fills addresses, ports and inode of
/// `info` if the line is whole and its state is one of `functionType`
/// (FUNCTION_TYPE_PORT or FUNCTION_TYPE_NET); otherwise -1.
int getNetworkBaseInfo(char* line, int length, int family, NETWORK_INFO_S* info, int functionType);

}  // namespace LedgoraCollect
