// Lines of passwd, shadow, group and sudoers.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include "collect/users/AccountLines.h"
#include "collect/users/LoginDate.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace LedgoraCollect;
  const std::string line(reinterpret_cast<const char*>(data), size);
  USER_ACCOUNT_INFO_S user;
  if (parsePasswdLine(line, user) && user.permissionLogin.size() != 1) std::abort();
  std::string name;
  Expiry_S expiry;
  std::size_t fieldCount = 0;
  if (parseShadowLine(line, name, expiry, fieldCount) != (fieldCount >= 8)) std::abort();
  if (expiry.status != 0 && expiry.status != 1) std::abort();
  std::map<std::string, std::string> groups;
  addGroupLine(line, groups);
  std::map<std::string, bool> users;
  std::map<std::string, bool> sudoGroups;
  addSudoersLine(line, users, sudoGroups);
  if (groups.size() > 1 || users.size() + sudoGroups.size() > 1) std::abort();
  getLastLogTime(line);
  return 0;
}
