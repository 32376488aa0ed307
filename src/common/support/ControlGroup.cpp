#include "common/support/ControlGroup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <vector>

#include "common/support/Handles.h"

namespace LedgoraCollect {

namespace {

std::vector<std::string_view> splitText(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    if (end > 0) parts.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

bool listHolds(std::string_view list, char separator, std::string_view item) {
  const std::vector<std::string_view> items = splitText(list, separator);
  return std::find(items.begin(), items.end(), item) != items.end();
}

bool isOctal(char c) { return c >= '0' && c <= '7'; }

/// "\040" and its like, as the kernel writes blanks in mount points.
std::string unescapeOctal(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escaped = text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) &&
                         isOctal(text[i + 2]) && isOctal(text[i + 3]);
    if (!escaped) {
      result += text[i];
      continue;
    }
    const int code = (text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0');
    result += static_cast<char>(code);
    i += 3;
  }
  return result;
}

bool carriesController(std::string_view type, std::string_view options, GroupInterface interface) {
  if (interface == GroupInterface::Unified) return type == "cgroup2";
  return type == "cgroup" && listHolds(options, ',', "cpu");
}

bool readText(const std::string& path, std::string& text) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!file) return false;
  text.resize(4096);  // one page: all that a limit's file holds, and enough to see a member
  const ssize_t count = ::read(file.get(), text.data(), text.size());
  text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return count >= 0;
}

bool writeText(const std::string& path, const std::string& text) {
  const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOFOLLOW));
  return file && ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

bool toNumber(std::string_view text, std::int64_t& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

/// Quota and period as two words ("max 100000", "-1 100000") to microseconds in
/// our period.
std::int64_t scaleQuota(std::string_view text) {
  constexpr std::int64_t kMost = std::int64_t{1} << 40;
  const std::size_t end = text.find('\n');
  const std::vector<std::string_view> words = splitText(text.substr(0, end), ' ');
  std::int64_t quota = 0;
  std::int64_t period = 0;
  if (words.size() != 2 || !toNumber(words[0], quota) || !toNumber(words[1], period)) {
    return kNoQuota;
  }
  if (quota < 0 || quota > kMost || period <= 0) return kNoQuota;
  return quota * kQuotaPeriodUs / period;
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

bool writeLegacyQuota(const std::string& directory, std::int64_t quotaUs) {
  const std::string period = std::to_string(kQuotaPeriodUs);
  if (!writeText(directory + "/cpu.cfs_period_us", period)) {
    // An old quota may not go with the longer period in the group above.
    writeText(directory + "/cpu.cfs_quota_us", "-1");
    if (!writeText(directory + "/cpu.cfs_period_us", period)) return false;
  }
  return writeText(directory + "/cpu.cfs_quota_us", std::to_string(quotaUs));
}

bool writeQuota(const std::string& directory, GroupInterface interface, std::int64_t quotaUs) {
  if (interface == GroupInterface::Legacy) return writeLegacyQuota(directory, quotaUs);
  const std::string text = std::to_string(quotaUs) + " " + std::to_string(kQuotaPeriodUs);
  return writeText(directory + "/cpu.max", text);
}

/// Whether groups below `parent` have the processor controller. The unified
/// hierarchy's cgroup.subtree_control says so; it isn't ours to change.
bool givesController(const std::string& parent, GroupInterface interface) {
  if (interface == GroupInterface::Legacy) return true;
  std::string controllers;
  return readText(parent + "/cgroup.subtree_control", controllers) &&
         listHolds(firstLine(controllers), ' ', "cpu");
}

bool hasMembers(const std::string& directory) {
  std::string members;
  return readText(directory + "/cgroup.procs", members) && !members.empty();
}

bool limitAndEnter(const std::string& directory, GroupInterface interface, std::int64_t quotaUs) {
  const std::int64_t present = readGroupQuota(directory, interface);
  const bool keeps = present != kNoQuota && present <= quotaUs && hasMembers(directory);
  if (!keeps && !writeQuota(directory, interface, quotaUs)) return false;
  return writeText(directory + "/cgroup.procs", "0");  // the kernel's word for the writer
}

}  // namespace

bool findGroupMount(std::string_view mountInfo, GroupInterface interface, GroupMount_S& mount) {
  constexpr std::size_t kRootField = 3;
  constexpr std::size_t kPointField = 4;
  for (const std::string_view line : splitText(mountInfo, '\n')) {
    const std::size_t separator = line.find(" - ");
    if (separator == std::string_view::npos) continue;
    const std::vector<std::string_view> place = splitText(line.substr(0, separator), ' ');
    const std::vector<std::string_view> kind = splitText(line.substr(separator + 3), ' ');
    if (place.size() <= kPointField || kind.size() < 3) continue;
    if (!carriesController(kind[0], kind[2], interface)) continue;
    mount.root = unescapeOctal(place[kRootField]);
    mount.point = unescapeOctal(place[kPointField]);
    return true;
  }
  return false;
}

bool findOwnGroup(std::string_view cgroupText, GroupInterface interface, std::string& path) {
  for (const std::string_view line : splitText(cgroupText, '\n')) {
    const std::size_t first = line.find(':');
    if (first == std::string_view::npos) continue;
    const std::size_t second = line.find(':', first + 1);  // the path may hold more of them
    if (second == std::string_view::npos) continue;
    const std::string_view controllers = line.substr(first + 1, second - first - 1);
    const bool found = interface == GroupInterface::Unified ? line.substr(0, second) == "0:"
                                                            : listHolds(controllers, ',', "cpu");
    if (!found) continue;
    path = line.substr(second + 1);
    return true;
  }
  return false;
}

std::string groupDirectory(const GroupMount_S& mount, const std::string& path) {
  const std::string root = mount.root == "/" ? "" : mount.root;
  const bool below = path.compare(0, root.size(), root) == 0 &&
                     (path.size() == root.size() || path[root.size()] == '/') &&
                     path.find("/..") == std::string::npos;
  if (!below) return mount.point;
  const std::string rest = path.substr(root.size());
  return rest == "/" ? mount.point : mount.point + rest;
}

std::int64_t readGroupQuota(const std::string& directory, GroupInterface interface) {
  std::string text;
  if (interface == GroupInterface::Unified) {
    return readText(directory + "/cpu.max", text) ? scaleQuota(text) : kNoQuota;
  }
  std::string period;
  if (!readText(directory + "/cpu.cfs_quota_us", text)) return kNoQuota;
  if (!readText(directory + "/cpu.cfs_period_us", period)) return kNoQuota;
  return scaleQuota(firstLine(text) + " " + firstLine(period));
}

std::int64_t lowestGroupQuota(const GroupMount_S& mount, const std::string& directory,
                              GroupInterface interface) {
  std::int64_t lowest = kNoQuota;
  std::string group = directory;
  while (group.size() >= mount.point.size()) {
    const std::int64_t quota = readGroupQuota(group, interface);
    if (quota != kNoQuota && (lowest == kNoQuota || quota < lowest)) lowest = quota;
    const std::size_t slash = group.rfind('/');
    if (slash == std::string::npos) break;
    group.resize(slash);
  }
  return lowest;
}

bool enterLimitedGroup(const std::string& parent, const std::string& name, GroupInterface interface,
                       std::int64_t quotaUs) {
  if (!givesController(parent, interface)) return false;
  const std::string directory = parent + "/" + name;
  constexpr int kTries = 3;  // the group may be removed by others between two steps
  for (int i = 0; i < kTries; ++i) {
    const bool made = ::mkdir(directory.c_str(), 0755) == 0;
    if (!made && errno != EEXIST) return false;
    if (limitAndEnter(directory, interface, quotaUs)) return true;
    const bool vanished = errno == ENOENT || errno == ENODEV;
    if (made) ::rmdir(directory.c_str());
    if (!vanished) return false;
  }
  return false;
}

}  // namespace LedgoraCollect
