#include "network/SocketOwners.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

#include "common/InspectedRoot.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

constexpr char kSocketLink[] = "socket:[";
constexpr std::size_t kRootBytes = 4096;
constexpr std::size_t kLinkBytes = 4095;
constexpr std::size_t kStatPathBytes = 1024;
constexpr std::size_t kStatBytes = 1024;

bool parseEntryNumber(const char* name, int& number) {
  const char* end = name + std::strlen(name);
  const auto parsed = std::from_chars(name, end, number);
  return parsed.ec == std::errc() && parsed.ptr == end;
}

std::string readStat(const std::string& path) {
  const FileDescriptor file = openInspected(path, O_RDONLY);
  if (!file) return {};
  char text[kStatBytes];
  ssize_t length = 0;
  do {
    length = ::read(file.get(), text, sizeof text);
  } while (length < 0 && errno == EINTR);
  return std::string(text, length > 0 ? static_cast<std::size_t>(length) : 0);
}

/// The name of one process, asked for only when it holds a socket.
class ProcessName {
 public:
  explicit ProcessName(std::string statPath) : mPath(std::move(statPath)) {}
  const std::string& get() {
    if (!mAsked && mPath.size() < kStatPathBytes) mName = parseStatName(readStat(mPath));
    mAsked = true;
    return mName;
  }

 private:
  std::string mPath;
  std::string mName;
  bool mAsked = false;
};

bool readSocketLink(int directory, const char* name, unsigned int& inode) {
  char link[kLinkBytes];
  const ssize_t length = ::readlinkat(directory, name, link, sizeof link);
  return length > 0 && parseSocketLink({link, static_cast<std::size_t>(length)}, inode);
}

void addOwnedSockets(const std::string& root, int pid, OwnerMap& owners) {
  const std::string process = root + std::to_string(pid);
  const DirHandle directory = openInspectedDir(process + "/fd/");
  if (!directory) {
    error_output(1, "userEntryHashBuild", __LINE__,
                 "[CollectNetworkConnectInfo]open dir : %s/fd/ failed.", process.c_str());
    return;
  }
  ProcessName name(process + "/stat");
  while (const dirent* entry = ::readdir(directory.get())) {
    USER_ENTRY_S owner;
    if (!parseEntryNumber(entry->d_name, owner.fd) ||
        !readSocketLink(::dirfd(directory.get()), entry->d_name, owner.inode) ||
        name.get().empty()) {
      continue;
    }
    owner.processName = name.get();
    owner.pid = pid;
    owners.emplace(owner.inode, std::move(owner));
  }
}

}  // namespace

bool parseSocketLink(std::string_view link, unsigned int& inode) {
  constexpr std::size_t kPrefix = sizeof kSocketLink - 1;
  if (link.substr(0, kPrefix) != kSocketLink) return false;
  return std::from_chars(link.data() + kPrefix, link.data() + link.size(), inode).ec == std::errc();
}

std::string parseStatName(std::string_view stat) {
  int pid = 0;
  const char* end = stat.data() + stat.size();
  const auto parsed = std::from_chars(stat.data(), end, pid);
  if (parsed.ec != std::errc()) return {};
  stat.remove_prefix(static_cast<std::size_t>(parsed.ptr - stat.data()));
  if (stat.substr(0, 2) != " (") return {};
  return std::string(stat.substr(2, stat.find(')') - 2));
}

void collectSocketOwners(const std::string& procRoot, OwnerMap& owners) {
  std::string root = procRoot;
  if (root.empty() || root.back() != '/') root += '/';
  const DirHandle directory = root.size() < kRootBytes ? openInspectedDir(root) : DirHandle();
  if (!directory) {
    error_output(1, "userEntryHashBuild", __LINE__,
                 "[CollectNetworkConnectInfo]open dir: %s failed.", root.c_str());
    return;
  }
  while (const dirent* entry = ::readdir(directory.get())) {
    int pid = 0;
    if (parseEntryNumber(entry->d_name, pid)) addOwnedSockets(root, pid, owners);
  }
}

}  // namespace LedgoraCollect
