#include "common/support/CommandIdentity.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "common/support/Handles.h"

namespace LedgoraCollect {

namespace {

template <class Number>
bool nextNumber(std::string_view& text, Number& number, int base = 10) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (result.ec != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  return text.empty() || text.front() == ' ' || text.front() == '\t';
}

/// The text behind "key:" of the line that begins with it.
bool findField(std::string_view text, std::string_view key, std::string_view& value) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.size() > key.size() && line.substr(0, key.size()) == key && line[key.size()] == ':') {
      value = line.substr(key.size() + 1);
      return true;
    }
  }
  return false;
}

/// Of real, effective and saved id the first that isn't root's: a set-id
/// program is fed by the user who started it, and a service that gave up root
/// for a while is fed by whom it serves.
template <class Id>
bool parseLeastId(std::string_view text, Id& id) {
  constexpr int kRealEffectiveSaved = 3;
  id = 0;
  for (int i = 0; i < kRealEffectiveSaved; ++i) {
    Id next = 0;
    if (!nextNumber(text, next)) return false;
    if (id == 0) id = next;
  }
  return true;
}

bool parseGroups(std::string_view text, std::vector<gid_t>& groups) {
  groups.clear();
  while (text.find_first_not_of(" \t") != std::string_view::npos) {
    gid_t group = 0;
    if (!nextNumber(text, group)) return false;
    groups.push_back(group);
  }
  return true;
}

bool hasGroups(const std::vector<gid_t>& wanted) {
  constexpr int kMostGroups = 1024;  // of a tool without root's rights; on the stack
  gid_t groups[kMostGroups];
  const int count = ::getgroups(kMostGroups, groups);
  return count >= 0 && static_cast<std::size_t>(count) == wanted.size() &&
         std::is_permutation(wanted.begin(), wanted.end(), groups);
}

int dropBounds(std::uint64_t kept) {
  constexpr int kMostCapabilities = 64;
  for (int capability = 0; capability < kMostCapabilities; ++capability) {
    const int held = ::prctl(PR_CAPBSET_READ, capability, 0, 0, 0);
    if (held < 0) break;  // the kernel knows no more
    if (held == 0 || (kept >> capability & 1U) != 0) continue;
    if (::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) return errno;
  }
  return 0;
}

/// Leaves nothing that a program file's own capabilities could add to.
int clearInheritable() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  if (::syscall(SYS_capget, &header, sets) != 0) return errno;
  for (__user_cap_data_struct& set : sets) set.inheritable = 0;
  return ::syscall(SYS_capset, &header, sets) == 0 ? 0 : errno;
}

int clearAmbient() {
  const bool cleared = ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0) == 0;
  return cleared || errno == EINVAL ? 0 : errno;  // EINVAL: older than the ambient set
}

/// Real, effective and saved ids at once. The calls go to the kernel directly:
/// the library's would also speak to threads that a forked child doesn't have.
int takeOnIds(const CommandIdentity& identity) {
  const bool sameGroups = hasGroups(identity.groups);
  if (!sameGroups &&
      ::syscall(SYS_setgroups, identity.groups.size(), identity.groups.data()) != 0) {
    return errno;
  }
  const gid_t gid = identity.gid;
  const uid_t uid = identity.uid;
  if (::syscall(SYS_setresgid, gid, gid, gid) != 0) return errno;
  if (::syscall(SYS_setresuid, uid, uid, uid) != 0) return errno;
  return 0;
}

}  // namespace

bool parseCommandIdentity(std::string_view statusText, CommandIdentity& identity) {
  std::string_view uid;
  std::string_view gid;
  std::string_view groups;
  std::string_view bounds;
  identity.noNewPrivileges = true;
  return findField(statusText, "Uid", uid) && parseLeastId(uid, identity.uid) &&
         findField(statusText, "Gid", gid) && parseLeastId(gid, identity.gid) &&
         findField(statusText, "Groups", groups) && parseGroups(groups, identity.groups) &&
         findField(statusText, "CapBnd", bounds) &&
         nextNumber(bounds, identity.capabilityBounds, 16);
}

bool readCommandIdentity(int pid, CommandIdentity& identity, const std::string& procRoot) {
  const std::string path = procRoot + "/" + std::to_string(pid) + "/status";
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return false;
  // "Groups" may list 65,536 numbers, so the file has no small bound.
  constexpr std::size_t kMostBytes = 1U << 20;
  std::string text;
  char piece[4096];
  ssize_t count = 0;
  while (text.size() < kMostBytes && (count = ::read(file.get(), piece, sizeof piece)) > 0) {
    text.append(piece, static_cast<std::size_t>(count));
  }
  return count == 0 && parseCommandIdentity(text, identity);
}

int takeOnIdentity(const CommandIdentity& identity) {
  if (identity.noNewPrivileges && ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return errno;
  if (const int error = clearAmbient()) return error;
  if (const int error = clearInheritable()) return error;
  if (const int error = dropBounds(identity.capabilityBounds)) return error;
  return takeOnIds(identity);
}

}  // namespace LedgoraCollect
