#include "hostmodel/RootCommandPath.h"

#include <charconv>
#include <string_view>
#include <vector>

namespace LedgoraCollect {
namespace {

// Nothing can lie below a device, so no program is ever found through these.
constexpr std::string_view kNowhere = "/dev/null/";
// Second entry of a PATH made here. Entries of `inner` come behind the trusted
// directories, so nothing in them can stand for it.
constexpr std::string_view kRights = "/dev/null/rights-of-";

std::vector<std::string_view> entries(std::string_view path) {
  std::vector<std::string_view> list;
  for (std::size_t start = 0;;) {
    const std::size_t end = path.find(':', start);
    list.push_back(path.substr(start, end - start));
    if (end == std::string_view::npos) return list;
    start = end + 1;
  }
}

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

void append(std::string& path, std::string_view entry) {
  if (!path.empty()) path += ':';
  path += entry;
}

}  // namespace

std::string makeRootCommandPath(const std::string& libexec, const std::string& trusted,
                                const RootCommandPath& command) {
  std::string path = libexec;
  append(path, std::string(kRights) + std::to_string(command.asProcess));
  append(path, trusted);
  for (const std::string_view entry : entries(command.inner)) {
    append(path, std::string(kNowhere).append(entry));
  }
  return path;
}

RootCommandPath readRootCommandPath(const std::string& path) {
  RootCommandPath command;
  const std::vector<std::string_view> list = entries(path);
  if (list.size() < 3 || !startsWith(list[1], kRights)) return {path, 0};
  const std::string_view pid = list[1].substr(kRights.size());
  std::from_chars(pid.data(), pid.data() + pid.size(), command.asProcess);
  bool first = true;
  for (std::size_t i = 2; i < list.size(); ++i) {
    std::string_view entry = list[i];
    if (!startsWith(entry, kNowhere)) continue;
    entry.remove_prefix(kNowhere.size());
    if (!first) command.inner += ':';
    command.inner += entry;
    first = false;
  }
  return command;
}

}  // namespace LedgoraCollect
