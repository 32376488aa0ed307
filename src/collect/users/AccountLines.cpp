#include "collect/users/AccountLines.h"

#include <cstdlib>
#include <limits>
#include <vector>

#include "common/StringUtils.h"

namespace LedgoraCollect {

namespace {

constexpr long long kMillisecondsOfDay = 86400000;

constexpr std::size_t kPasswdFields = 7;
constexpr std::size_t kShadowFields = 8;
constexpr std::size_t kGroupFields = 4;

// An empty field at the very end of a line is no field of its own, so an
// account with an empty shell and a group without members have one field too
// few and are passed over. Consumers know the lists without them.
std::vector<std::string> fieldsOf(const std::string& line) {
  return StringUtils::split(line, ":", false);
}

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

/// Days as milliseconds; what exceeds the type stays at its end.
long long millisecondsOfDays(const std::string& days) {
  const long long number = std::strtoll(days.c_str(), nullptr, 10);
  long long result = 0;
  if (!__builtin_mul_overflow(number, kMillisecondsOfDay, &result)) return result;
  return number < 0 ? std::numeric_limits<long long>::min() : std::numeric_limits<long long>::max();
}

}  // namespace

bool parsePasswdLine(const std::string& line, USER_ACCOUNT_INFO_S& user) {
  const std::vector<std::string> fields = fieldsOf(line);
  if (fields.size() < kPasswdFields) return false;
  user.userName = fields[0];
  user.userId = fields[2];
  user.groupId = fields[3];
  user.home = fields[5];
  user.shell = fields[6];
  const bool noLogin = contains(user.shell, "/bin/false") || contains(user.shell, "/nologin");
  user.permissionLogin = noLogin ? "0" : "1";
  user.permissionRoot = user.userId == "0" ? "1" : "0";
  return true;
}

bool parseShadowLine(const std::string& line, std::string& name, Expiry_S& expiry,
                     std::size_t& fieldCount) {
  const std::vector<std::string> fields = fieldsOf(line);
  fieldCount = fields.size();
  if (fieldCount < kShadowFields) return false;
  name = fields[0];
  expiry = {};
  expiry.status = !fields[1].empty() && !contains(fields[1], "!") ? 1 : 0;
  if (!fields[2].empty()) expiry.lastChangeMs = millisecondsOfDays(fields[2]);
  // The maximum age is reported as it stands, as a duration; the two values
  // that mean "never" are left at 0.
  if (!fields[4].empty() && fields[4] != "99999" && fields[4] != "0") {
    expiry.maximumAgeMs = millisecondsOfDays(fields[4]);
  }
  if (!fields[7].empty()) expiry.expiryMs = millisecondsOfDays(fields[7]);
  return true;
}

void addGroupLine(const std::string& line, std::map<std::string, std::string>& groups) {
  const std::vector<std::string> fields = fieldsOf(line);
  if (fields.size() >= kGroupFields) groups.emplace(fields[2], fields[0]);
}

// The whole line is the key, not its first word, so that an ordinary line such
// as "root ALL=(ALL) ALL" names no account and nearly every account has no
// sudo permission in the document. Consumers rely on that answer.
void addSudoersLine(const std::string& line, std::map<std::string, bool>& users,
                    std::map<std::string, bool>& groups) {
  if (line.empty() || contains(line, "#") || !contains(line, "ALL=")) return;
  if (contains(line, "%")) {
    groups[line.substr(1)] = true;
  } else {
    users[line] = true;
  }
}

}  // namespace LedgoraCollect
