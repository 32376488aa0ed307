#pragma once

#include <string>
#include <string_view>

#include "network/NetworkRecords.h"

namespace LedgoraCollect {

/// Adds the owner of each socket that a process below `procRoot` (a proc file
/// system's directory; under an inspected root with that in front) holds open.
/// Of several the first one that the directory walk meets stays. Processes
/// whose descriptors can't be listed are left out (level 1).
void collectSocketOwners(const std::string& procRoot, OwnerMap& owners);

/// The inode in the text of a descriptor's link, "socket:[12345]". False if it
/// is none of a socket or holds no number.
bool parseSocketLink(std::string_view link, unsigned int& inode);

/// The name in the text of a process's stat file, "812 (sshd) S ...". A name
/// that holds ")" ends there. Empty if there is none.
std::string parseStatName(std::string_view stat);

}  // namespace LedgoraCollect
