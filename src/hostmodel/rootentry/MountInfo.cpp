#include "hostmodel/rootentry/MountInfo.h"

#include <sys/mount.h>

#include <charconv>

namespace LedgoraCollect {
namespace {

constexpr struct {
  std::string_view option;
  unsigned long flag;
} kOptions[] = {
    {"ro", MS_RDONLY},         {"nosuid", MS_NOSUID},   {"nodev", MS_NODEV},
    {"noexec", MS_NOEXEC},     {"noatime", MS_NOATIME}, {"nodiratime", MS_NODIRATIME},
    {"relatime", MS_RELATIME},
};

std::string_view nextField(std::string_view& rest, char separator) {
  const std::size_t end = rest.find(separator);
  const std::string_view field = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return field;
}

bool isOctal(char c) { return c >= '0' && c <= '7'; }

// The kernel writes blanks, tabs, line feeds and backslashes as three octal digits.
std::string unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) && isOctal(text[i + 2]) &&
        isOctal(text[i + 3])) {
      plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                                 (text[i + 3] - '0'));
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

unsigned long flagsOf(std::string_view options) {
  unsigned long flags = 0;
  while (!options.empty()) {
    const std::string_view option = nextField(options, ',');
    for (const auto& known : kOptions) {
      if (option == known.option) flags |= known.flag;
    }
  }
  return flags;
}

// "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw"
bool parseLine(std::string_view line, MountEntry& entry) {
  const std::string_view id = nextField(line, ' ');
  const auto parsed = std::from_chars(id.data(), id.data() + id.size(), entry.id);
  if (parsed.ec != std::errc() || parsed.ptr != id.data() + id.size()) return false;
  for (int skipped = 0; skipped < 3; ++skipped) nextField(line, ' ');
  entry.point = unescaped(nextField(line, ' '));
  entry.flags = flagsOf(nextField(line, ' '));
  while (!line.empty()) {
    if (nextField(line, ' ') != "-") continue;
    entry.fileSystem = nextField(line, ' ');
    return !entry.point.empty() && !entry.fileSystem.empty();
  }
  return false;
}

}  // namespace

std::vector<MountEntry> parseMountInfo(std::string_view text) {
  std::vector<MountEntry> entries;
  while (!text.empty()) {
    MountEntry entry;
    if (parseLine(nextField(text, '\n'), entry)) entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace LedgoraCollect
