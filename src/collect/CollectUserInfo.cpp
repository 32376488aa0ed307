#include "collect/CollectUserInfo.h"

#include "collect/support/JsonMembers.h"
#include "collect/support/RootFile.h"
#include "collect/support/TextLines.h"
#include "collect/users/AccountLines.h"
#include "collect/users/LastLog.h"
#include "collect/users/SystemNames.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "run/CollectLimit.h"
#include "run/ListDocument.h"

namespace LedgoraCollect {

namespace {

/// The reading stops once more accounts than this are taken, whatever the
/// configured limit says, so that 129 is the most that can be listed.
constexpr std::size_t kUsersTaken = 128;

/// A file of nothing but damaged lines doesn't fill the log.
constexpr int kDamagedLinesTold = 100;

/// Calls `take` with each line of a file of the inspected system.
template <class Take>
bool readLines(const std::string& env, const char* path, Take take) {
  std::string text;
  if (!readRootFile(env, path, kMaximumTextBytes, text)) return false;
  forEachLine(text, [&take](std::string_view line) { return take(std::string(line)); });
  return true;
}

std::string lastLoginText(long long seconds) {
  return seconds == 0 ? "" : std::to_string(seconds) + "000";
}

void addUser(cJSON* object, const std::string& name, const USER_ACCOUNT_INFO_S& user) {
  addText(object, "user_name", name);
  addText(object, "user_id", user.userId);
  addText(object, "group_name", user.groupName);
  addText(object, "group_id", user.groupId);
  addText(object, "home", user.home);
  addText(object, "last_login_time", lastLoginText(user.lastLoginTime));
  addNumber(object, "user_status", user.userStatus);
  addText(object, "permission_root", user.permissionRoot);
  addText(object, "permission_sudo", user.permissionSudo);
  addText(object, "permission_login", user.permissionLogin);
  addNumber(object, "user_expire_time", static_cast<double>(user.userExpireTime));
  addText(object, "shell", user.shell);
  addNumber(object, "passwd_expire_time", static_cast<double>(user.passwdExpireTime));
  addText(object, "last_update_time",
          std::to_string(static_cast<unsigned long long>(user.lastUpdateTime)));
  addNumber(object, "recordtime", static_cast<double>(user.recordTime));
  addText(object, "last_login_ip", user.lastLoginIp);
  addText(object, "login_type", std::to_string(user.loginType));
}

}  // namespace

bool CollectUserInfo::collectImple(cJSON* root) {
  std::vector<USER_ACCOUNT_INFO_S> users;
  getHostUser(users);
  const int result = dataToJson(&users, root);
  if (result == 0) return true;
  error_output(0, __func__, __LINE__, "[CollectUserInfo]Failed to get json result, error code=%d",
               result);
  return false;
}

int CollectUserInfo::getHostUser(std::vector<USER_ACCOUNT_INFO_S>& users) {
  Tables_S tables;
  readTables(tables);
  const bool opened = readLines(getMEnv(), "/etc/passwd", [&](const std::string& line) {
    USER_ACCOUNT_INFO_S user;
    if (!parsePasswdLine(line, user)) return true;
    join(tables, user);
    users.push_back(std::move(user));
    return users.size() <= kUsersTaken;
  });
  if (opened) return 0;
  error_output(0, __func__, __LINE__, "[CollectUserInfo]open passwd file failed.");
  return -1;
}

void CollectUserInfo::readTables(Tables_S& tables) const {
  constexpr char kFunction[] = "getHostUser";
  if (!getGroupTable(tables.groups)) {
    error_output(1, kFunction, __LINE__, "[CollectUserInfo]get group table failed.");
  }
  if (!getUserGroup(tables.sudoUsers, tables.sudoGroups)) {
    error_output(1, kFunction, __LINE__, "[CollectUserInfo]getUserGroup info error.");
  }
  if (!getLastLoginInfo(tables.logins)) {
    error_output(1, kFunction, __LINE__, "[CollectUserInfo]getLastLoginInfo info error.");
  }
  if (!getExpireInfo(tables.expiries)) {
    error_output(1, kFunction, __LINE__, "[CollectUserInfo]getExpireInfo info error.");
  }
}

void CollectUserInfo::join(const Tables_S& tables, USER_ACCOUNT_INFO_S& user) {
  const auto group = tables.groups.find(user.groupId);
  if (group != tables.groups.end()) user.groupName = group->second;
  user.permissionSudo =
      getPermissionSudo(user.userName, tables.sudoUsers, user.groupName, tables.sudoGroups);
  const auto login = tables.logins.find(user.userName);
  if (login != tables.logins.end()) {
    user.lastLoginTime = login->second.seconds;
    user.lastLoginIp = login->second.host;
    user.loginType = login->second.loginType;
  } else {
    LEDGORA_DEBUG("[CollectUserInfo]get user %s last log info failed", user.userName.c_str());
  }
  const auto expiry = tables.expiries.find(user.userName);
  if (expiry != tables.expiries.end()) {
    user.userStatus = expiry->second.status;
    user.lastUpdateTime = expiry->second.lastChangeMs;
    user.passwdExpireTime = expiry->second.maximumAgeMs;
    user.userExpireTime = expiry->second.expiryMs;
  } else {
    LEDGORA_DEBUG("[CollectUserInfo]get user %s expire info failed", user.userName.c_str());
  }
}

bool CollectUserInfo::getGroupTable(std::map<std::string, std::string>& groups) const {
  const bool opened = readLines(getMEnv(), "/etc/group", [&groups](const std::string& line) {
    addGroupLine(line, groups);
    return true;
  });
  if (!opened) error_output(0, __func__, __LINE__, "[CollectUserInfo]open group file failed.");
  return opened;
}

bool CollectUserInfo::getUserGroup(std::map<std::string, bool>& users,
                                   std::map<std::string, bool>& groups) const {
  const bool opened = readLines(getMEnv(), "/etc/sudoers", [&](const std::string& line) {
    addSudoersLine(line, users, groups);
    return true;
  });
  // The message names the wrong file; whoever watches the log knows it so.
  if (!opened) error_output(0, __func__, __LINE__, "[CollectUserInfo]open passwd file failed.");
  return opened;
}

bool CollectUserInfo::getLastLoginInfo(std::map<std::string, LastLogin_S>& logins) const {
  constexpr char kLastLog[] = "/var/log/lastlog";
  std::string bytes;
  if (!readRootFile(getMEnv(), kLastLog, kLastLogRecordsRead * kLastLogRecordBytes, bytes)) {
    error_output(1, __func__, __LINE__, "[CollectUserInfo]lastlog open: %s failed.",
                 addEnvPath(getMEnv(), kLastLog).c_str());
    return false;
  }
  SystemNames names;
  for (const LastLogRecord_S& record : parseLastLog(bytes)) {
    std::string name;
    if (!names.nameOf(record.uid, name)) continue;
    LastLogin_S login{record.seconds, record.host, 0};
    checkLoginType(record.terminal, login.loginType);
    LEDGORA_DEBUG("[CollectUserInfo]uid: %-10u  name: %-8s  time: %d  type:%-8s  ip: %s",
                  record.uid, name.c_str(), login.seconds, record.terminal.c_str(),
                  login.host.c_str());
    logins[name] = std::move(login);
  }
  return true;
}

bool CollectUserInfo::getExpireInfo(std::map<std::string, Expiry_S>& expiries) const {
  std::size_t lineNumber = 0;
  int damaged = 0;
  const bool opened = readLines(getMEnv(), "/etc/shadow", [&](const std::string& line) {
    ++lineNumber;
    std::string name;
    Expiry_S expiry;
    std::size_t fieldCount = 0;
    if (parseShadowLine(line, name, expiry, fieldCount)) {
      expiries[name] = expiry;
    } else if (++damaged <= kDamagedLinesTold) {
      // A damaged line may hold a password hash anywhere, so its number stands
      // for it.
      error_output(1, "getExpireInfo", __LINE__,
                   "[CollectUserInfo]get line: number %zu, %zu fields error.", lineNumber,
                   fieldCount);
    }
    return true;
  });
  if (!opened) error_output(0, __func__, __LINE__, "[CollectUserInfo]open shadow file failed.");
  return opened;
}

std::string CollectUserInfo::getPermissionSudo(const std::string& user,
                                               const std::map<std::string, bool>& users,
                                               const std::string& group,
                                               const std::map<std::string, bool>& groups) {
  if (users.empty() || groups.empty() || user.empty() || group.empty()) return "0";
  return users.count(user) != 0 || groups.count(group) != 0 ? "1" : "0";
}

int CollectBase::dataToJson(std::vector<USER_ACCOUNT_INFO_S>* list, cJSON* root) {
  if (!list || !root) return -1;
  ListDocument document(__func__);
  if (!document) return -1;
  const int limit = CollectLimit::asCount(CollectLimit::getInstance()->E_HOST_USER);
  int count = 0;
  for (const USER_ACCOUNT_INFO_S& user : *list) {
    const std::string name = StringUtils::trim(user.userName, " \r\n\t");
    if (name.empty()) continue;
    if (++count > limit) break;
    cJSON* const object = document.append();
    if (object == nullptr) break;
    addUser(object, name, user);
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
