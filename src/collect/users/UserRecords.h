#pragma once

#include <string>

namespace LedgoraCollect {

/// One account as the document lists it.
struct USER_ACCOUNT_INFO_S {
  std::string userName;
  std::string userId;
  std::string groupId;
  std::string home;
  int loginType = 0;
  std::string shell;
  std::string groupName;
  std::string lastLoginIp;
  std::string permissionLogin;
  std::string permissionRoot;
  std::string permissionSudo = "false";
  long long lastLoginTime = 0;     // seconds since the epoch; 0: never
  long long recordTime = 0;        // nothing sets it
  long long lastUpdateTime = 0;    // milliseconds since the epoch
  long long passwdExpireTime = 0;  // milliseconds, a duration
  long long userExpireTime = 0;    // milliseconds since the epoch
  int userStatus = 0;              // 1: the account has a password that isn't locked
};

/// The last login of one account.
struct LastLogin_S {
  int seconds = 0;  // since the epoch
  std::string host;
  int loginType = 0;
};

/// What the shadow file tells of one account. The password itself is never kept.
struct Expiry_S {
  int status = 0;
  long long lastChangeMs = 0;
  long long maximumAgeMs = 0;
  long long expiryMs = 0;
};

}  // namespace LedgoraCollect
