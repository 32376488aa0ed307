#include "support/TempRoot.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace fs = std::filesystem;

namespace LedgoraTest {

namespace {

void check(bool done, const std::string& what) {
  if (!done) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

TempRoot::TempRoot() {
  std::string name = (fs::canonical(fs::temp_directory_path()) / "ledgora-test-XXXXXX").string();
  check(mkdtemp(name.data()) != nullptr, name);
  check(chmod(name.c_str(), 0755) == 0, name);
  mPath = name;
}

TempRoot::~TempRoot() {
  std::error_code ignored;  // a mount left by a failed test must not hide its failure
  fs::remove_all(mPath, ignored);
}

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

void TempRoot::remove(std::string_view relative) { fs::remove_all(path(relative)); }

std::string readWhole(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

}  // namespace LedgoraTest
