#include "collect/status/MountTable.h"

#include <mntent.h>

#include <array>
#include <cstdio>

#include "common/support/Handles.h"

namespace LedgoraCollect {

namespace {

/// Far more than hosts of many containers have.
constexpr std::size_t kMaximumMounts = 8192;

}  // namespace

std::vector<_DISK_PATION_INFO_> parseMountTable(const std::string& text) {
  std::vector<_DISK_PATION_INFO_> mounts;
  if (text.empty()) return mounts;
  // The stream is opened for reading only, so the text isn't written to.
  const FileHandle stream(::fmemopen(const_cast<char*>(text.data()), text.size(), "r"));
  if (!stream) return mounts;
  // Longer lines are cut; what is cut off are the options of overlay mounts.
  std::array<char, 4096> line{};
  mntent entry{};
  while (mounts.size() < kMaximumMounts &&
         ::getmntent_r(stream.get(), &entry, line.data(), static_cast<int>(line.size()))) {
    if (!entry.mnt_fsname || !entry.mnt_dir || !entry.mnt_type) continue;
    if (*entry.mnt_dir == '\0' || *entry.mnt_type == '\0') continue;
    mounts.push_back({entry.mnt_dir, entry.mnt_type, entry.mnt_fsname});
  }
  return mounts;
}

bool isNfs(const _DISK_PATION_INFO_& mount) {
  return mount.fileSystem.find("nfs") != std::string::npos;
}

bool isBinfmtMisc(const _DISK_PATION_INFO_& mount) {
  return mount.fileSystem.find("binfmt_misc") != std::string::npos;
}

}  // namespace LedgoraCollect
