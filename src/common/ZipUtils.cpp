#include "common/ZipUtils.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "common/support/PlainFile.h"

namespace LedgoraCollect {
namespace {

using ZipHandle = std::unique_ptr<void, Releaser<unzClose>>;

constexpr char kManifestName[] = "META-INF/MANIFEST.MF";
// A longer manifest is cut here, even inside a line; its facts stand at the top.
constexpr int kManifestBytes = 4095;
constexpr std::size_t kNameBytes = 4096;
constexpr int kNotFound = -100;
constexpr int kFailed = -1;
constexpr std::size_t kCopyBytes = 8192;
// Bounds against crafted archives, far above what real ones hold.
constexpr ZPOS64_T kMostEntries = 1'000'000;
constexpr std::size_t kMostListedBytes = 64 * 1024 * 1024;
constexpr unsigned long long kMostExtractedBytes = 256ULL * 1024 * 1024;

/// Opens the archive and reads its entry count; empty if either fails.
ZipHandle openArchive(const char* path, ZPOS64_T& entries) {
  ZipHandle zip(zipOpen(path));
  unz_global_info64 info{};
  if (!zip || unzGetGlobalInfo64(zip.get(), &info) != UNZ_OK) return nullptr;
  entries = std::min<ZPOS64_T>(info.number_entry, kMostEntries);
  return zip;
}

int entryName(unzFile zip, char (&name)[kNameBytes + 1]) {
  // The library leaves a name that fills its buffer without a terminator.
  name[kNameBytes] = '\0';
  const int error = unzGetCurrentFileInfo64(zip, nullptr, name, kNameBytes, nullptr, 0, nullptr, 0);
  if (error != UNZ_OK) {
    error_output(0, __func__, __LINE__, "error %d with zipfile in unzGetCurrentFileInfo\n", error);
  }
  return error;
}

int nextEntry(unzFile zip) {
  const int error = unzGoToNextFile(zip);
  if (error != UNZ_OK) {
    error_output(0, __func__, __LINE__, "error %d with zipfile in unzGoToNextFile\n", error);
  }
  return error;
}

/// Walks the entries in archive order. `visit` is given each name, with the
/// archive at that entry, and returns true to end the walk. The result is 0
/// if it did, kNotFound at the end of the walk, or the library's error.
int walkEntries(unzFile zip, ZPOS64_T entries, const std::function<bool(const char*)>& visit) {
  char name[kNameBytes + 1];
  for (ZPOS64_T i = 0; i < entries; ++i) {
    int error = i == 0 ? UNZ_OK : nextEntry(zip);
    if (error == UNZ_OK) error = entryName(zip, name);
    if (error != UNZ_OK) return error;
    if (visit(name)) return 0;
  }
  return kNotFound;
}

/// Opens the entry, hands it to `read` and closes it. True if opening and
/// closing succeeded: what `read` met is only logged, so a member whose data
/// are broken counts as read as far as it goes, and callers rely on that.
bool readEntry(unzFile zip, const char* password, const std::function<void()>& read) {
  int error = unzOpenCurrentFilePassword(zip, password);
  if (error != UNZ_OK) {
    error_output(0, __func__, __LINE__, "error %d with zipfile in unzOpenCurrentFilePassword\n",
                 error);
    return false;
  }
  read();
  error = unzCloseCurrentFile(zip);
  if (error != UNZ_OK) {
    error_output(0, __func__, __LINE__, "error %d with zipfile in unzCloseCurrentFile\n", error);
  }
  return error == UNZ_OK;
}

/// Reads of the open entry up to `size` bytes. The number read; 0 at its end
/// or after an error, which is logged.
int readSome(unzFile zip, char* buffer, std::size_t size) {
  const int count = unzReadCurrentFile(zip, buffer, static_cast<unsigned>(size));
  if (count >= 0) return count;
  error_output(0, __func__, __LINE__, "error %d with zipfile in unzReadCurrentFile\n", count);
  return 0;
}

void fillBuffer(unzFile zip, char* buffer, std::size_t size) {
  std::size_t used = 0;
  while (used < size) {
    const int count = readSome(zip, buffer + used, size - used);
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
  }
}

/// Copies the open entry to a new file at `target`; a file that fails in its
/// middle is removed.
bool copyToFile(unzFile zip, const char* target) {
  FileHandle file(utf8_fopen(target, "wb"));
  if (!file) {
    error_output(0, __func__, __LINE__, "error opening %s\n", target);
    return false;
  }
  char buffer[kCopyBytes];
  unsigned long long copied = 0;
  bool whole = true;
  while (const int count = whole ? readSome(zip, buffer, sizeof buffer) : 0) {
    copied += static_cast<unsigned long long>(count);
    whole = copied <= kMostExtractedBytes &&
            std::fwrite(buffer, static_cast<std::size_t>(count), 1, file.get()) == 1;
  }
  whole = std::fclose(file.release()) == 0 && whole;
  if (whole) return true;
  error_output(0, __func__, __LINE__, "error in writing extracted file");
  std::remove(target);
  return false;
}

}  // namespace

unzFile zipOpen(const char* path) {
  // The archive library opens by name; the name given to it stands for the
  // file that was found safely.
  const InspectedPath opened{std::string(path)};
  return opened ? unzOpen64(opened.path().c_str()) : nullptr;
}

int ZipUtils::unZipToMem(const char* zipPath, const char* member, void* buffer, int size) {
  if (zipPath == nullptr || member == nullptr || buffer == nullptr || size <= 0) return kFailed;
  ZPOS64_T entries = 0;
  const ZipHandle zip = openArchive(zipPath, entries);
  if (!zip) return kFailed;
  // An archive without entries counts as read, with nothing in the buffer:
  // callers see an empty member, not a missing one.
  if (entries == 0) return UNZ_OK;
  return walkEntries(zip.get(), entries, [&](const char* name) {
    if (std::strncmp(name, member, kNameBytes) != 0) return false;
    return readEntry(zip.get(), nullptr, [&] {
      fillBuffer(zip.get(), static_cast<char*>(buffer), static_cast<std::size_t>(size));
    });
  });
}

bool ZipUtils::getManifest(const char* zipPath, std::string& out) {
  char buffer[kManifestBytes + 1] = {};
  const int error = unZipToMem(zipPath, kManifestName, buffer, kManifestBytes);
  if (error != 0) {
    error_output(1, __func__, __LINE__, "unzip  %s  to memory failed, err =%d",
                 zipPath == nullptr ? "" : zipPath, error);
    return false;
  }
  out = buffer;
  return true;
}

int ZipUtils::unZipToFile(const char* zipPath, const char* member, const char* targetPath,
                          const char* password) {
  if (zipPath == nullptr || member == nullptr || targetPath == nullptr) return kFailed;
  ZPOS64_T entries = 0;
  const ZipHandle zip = openArchive(zipPath, entries);
  if (!zip) return kFailed;
  const std::string directory = PathUtils::getFileDirPath(targetPath);
  if (PathUtils::createDir(directory.c_str(), 0755) != 0) {
    error_output(0, __func__, __LINE__, "failed to create dir %s\n", directory.c_str());
    return kFailed;
  }
  bool written = false;
  const int result = walkEntries(zip.get(), entries, [&](const char* name) {
    if (std::strncmp(name, member, kNameBytes) != 0) return false;
    readEntry(zip.get(), password, [&] { written = copyToFile(zip.get(), targetPath); });
    return true;
  });
  return result == 0 && !written ? kFailed : result;
}

int ZipUtils::getZipFileList(const std::string& zipPath, std::vector<std::string>& out) {
  ZPOS64_T entries = 0;
  const ZipHandle zip = openArchive(zipPath.c_str(), entries);
  if (!zip) return kFailed;
  std::size_t listedBytes = 0;
  const int result = walkEntries(zip.get(), entries, [&](const char* name) {
    out.emplace_back(name);
    listedBytes += out.back().size() + sizeof(std::string);
    return listedBytes > kMostListedBytes;
  });
  if (listedBytes > kMostListedBytes) {
    error_output(1, __func__, __LINE__, "names in %s take over %zu bytes", zipPath.c_str(),
                 kMostListedBytes);
    return kFailed;
  }
  return result == kNotFound ? UNZ_OK : result;
}

}  // namespace LedgoraCollect
