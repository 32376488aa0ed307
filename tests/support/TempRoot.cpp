#include "support/TempRoot.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace LedgoraTest {

namespace {

void check(bool done, const std::string& what) {
  if (!done) throw std::system_error(errno, std::generic_category(), what);
}

/// A mount point as mountinfo writes it: blanks and the like are octal escapes.
std::string unescaped(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size()) {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

/// The mount points at and below `path`, in the order of mounting. False if
/// they can't be told.
bool mountsBelow(const std::string& path, std::vector<std::string>& found) {
  std::ifstream mounts("/proc/self/mountinfo");
  bool any = false;
  for (std::string line; std::getline(mounts, line); any = true) {
    std::istringstream fields(line);
    std::string id, parent, device, root, point;
    fields >> id >> parent >> device >> root >> point;
    point = unescaped(point);
    if (point == path || point.compare(0, path.size() + 1, path + "/") == 0) {
      found.push_back(point);
    }
  }
  return any;
}

/// Removes a tree and nothing that is mounted in it: a test that stops early
/// may leave the machine's own directories mounted there, writable. They are
/// unmounted first; if one stays, the tree stays too.
void removeTree(const std::string& path) {
  std::vector<std::string> mounts;
  bool known = mountsBelow(path, mounts);
  for (auto point = mounts.rbegin(); point != mounts.rend(); ++point) {
    umount2(point->c_str(), MNT_DETACH | UMOUNT_NOFOLLOW);
  }
  mounts.clear();
  known = known && mountsBelow(path, mounts);
  if (!known || !mounts.empty()) {
    std::fprintf(stderr, "%s is left: something may be mounted in it\n", path.c_str());
    return;
  }
  std::error_code failed;
  fs::remove_all(path, failed);
  if (failed) std::fprintf(stderr, "%s: %s\n", path.c_str(), failed.message().c_str());
}

}  // namespace

TempRoot::TempRoot() {
  std::string name = (fs::canonical(fs::temp_directory_path()) / "ledgora-test-XXXXXX").string();
  check(mkdtemp(name.data()) != nullptr, name);
  check(chmod(name.c_str(), 0755) == 0, name);
  mPath = name;
}

TempRoot::~TempRoot() { removeTree(mPath); }

std::string TempRoot::path(std::string_view relative) const {
  while (!relative.empty() && relative.front() == '/') relative.remove_prefix(1);
  if (relative.empty()) return mPath;
  return mPath + "/" + std::string(relative);
}

std::string TempRoot::prepared(std::string_view relative) const {
  std::string full = path(relative);
  fs::create_directories(fs::path(full).parent_path());
  return full;
}

TempRoot& TempRoot::dir(std::string_view relative, mode_t mode) {
  const std::string full = path(relative);
  fs::create_directories(full);
  check(chmod(full.c_str(), mode) == 0, full);
  return *this;
}

TempRoot& TempRoot::file(std::string_view relative, std::string_view content, mode_t mode) {
  const std::string full = prepared(relative);
  std::ofstream stream(full, std::ios::binary | std::ios::trunc);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  stream.close();
  check(stream.good(), full);
  check(chmod(full.c_str(), mode) == 0, full);
  return *this;
}

TempRoot& TempRoot::link(std::string_view relative, std::string_view target) {
  const std::string full = prepared(relative);
  check(symlink(std::string(target).c_str(), full.c_str()) == 0, full);
  return *this;
}

TempRoot& TempRoot::fifo(std::string_view relative, mode_t mode) {
  const std::string full = prepared(relative);
  check(mkfifo(full.c_str(), mode) == 0, full);
  return *this;
}

TempRoot& TempRoot::copy(std::string_view relative, const std::string& source) {
  fs::copy_file(source, prepared(relative), fs::copy_options::overwrite_existing);
  return *this;
}

TempRoot& TempRoot::modified(std::string_view relative, long secondsSinceEpoch) {
  const std::string full = path(relative);
  const timespec times[2] = {{secondsSinceEpoch, 0}, {secondsSinceEpoch, 0}};
  check(utimensat(AT_FDCWD, full.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0, full);
  return *this;
}

std::string TempRoot::read(std::string_view relative) const { return readWhole(path(relative)); }

bool TempRoot::exists(std::string_view relative) const {
  return fs::exists(fs::symlink_status(path(relative)));
}

void TempRoot::remove(std::string_view relative) { removeTree(path(relative)); }

std::string readWhole(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

}  // namespace LedgoraTest
