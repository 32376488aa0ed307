#pragma once

#include <map>
#include <string>
#include <vector>

#include "collect/users/UserRecords.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {

/// Type 4: the accounts of the inspected system, from its files alone. Password
/// fields are looked at to tell whether there is a password and are never kept,
/// written or logged.
class CollectUserInfo : public CollectBase {
 public:
  bool init() override { return true; }
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  /// Appends the accounts of /etc/passwd, at most 129, with what the other
  /// files tell of them. 0, or -1 if /etc/passwd can't be read.
  int getHostUser(std::vector<USER_ACCOUNT_INFO_S>& users);

  /// Group id -> name, from /etc/group; of a repeated id the first.
  bool getGroupTable(std::map<std::string, std::string>& groups) const;
  /// The granting lines of /etc/sudoers, which are keys as a whole.
  bool getUserGroup(std::map<std::string, bool>& users, std::map<std::string, bool>& groups) const;
  /// User name -> last login, from /var/log/lastlog. The names are those that
  /// the running system has for the user ids.
  bool getLastLoginInfo(std::map<std::string, LastLogin_S>& logins) const;
  /// User name -> expiry, from /etc/shadow.
  bool getExpireInfo(std::map<std::string, Expiry_S>& expiries) const;

  /// "1" if the user or the group is a key of its map and neither map nor name
  /// is empty, else "0".
  static std::string getPermissionSudo(const std::string& user,
                                       const std::map<std::string, bool>& users,
                                       const std::string& group,
                                       const std::map<std::string, bool>& groups);

 private:
  struct Tables_S {
    std::map<std::string, std::string> groups;
    std::map<std::string, bool> sudoUsers;
    std::map<std::string, bool> sudoGroups;
    std::map<std::string, LastLogin_S> logins;
    std::map<std::string, Expiry_S> expiries;
  };

  void readTables(Tables_S& tables) const;
  static void join(const Tables_S& tables, USER_ACCOUNT_INFO_S& user);
};

}  // namespace LedgoraCollect
