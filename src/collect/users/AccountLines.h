#pragma once

#include <map>
#include <string>

#include "collect/users/UserRecords.h"

namespace LedgoraCollect {

/// Understands one line of the password file: name, ids, home, shell and the
/// permissions that follow from them. False for a line with fewer than seven
/// fields.
bool parsePasswdLine(const std::string& line, USER_ACCOUNT_INFO_S& user);

/// Understands one line of the shadow file. False for a line with fewer than
/// eight fields. `fieldCount` gets their number in any case.
bool parseShadowLine(const std::string& line, std::string& name, Expiry_S& expiry,
                     std::size_t& fieldCount);

/// Adds the line's group id and name unless the id is there already. A line
/// with fewer than four fields adds nothing.
void addGroupLine(const std::string& line, std::map<std::string, std::string>& groups);

/// Adds a line of the sudoers file that grants something to the users or, if
/// it holds a "%", to the groups.
void addSudoersLine(const std::string& line, std::map<std::string, bool>& users,
                    std::map<std::string, bool>& groups);

}  // namespace LedgoraCollect
