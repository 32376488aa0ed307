#include "common/ZipUtils.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string_view>

#include "common/PathUtils.h"
#include "common/ZipSource.h"
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
// The record at an archive's end, before its comment.
constexpr std::string_view kEndRecordMark("PK\5\6", 4);
constexpr std::size_t kEndRecordBytes = 22;
constexpr std::size_t kEntryCountAt = 10;
constexpr std::size_t kMostCommentBytes = 65535;
// Bounds against crafted archives, far above what real ones hold.
constexpr ZPOS64_T kMostEntries = 1'000'000;
constexpr std::size_t kMostListedBytes = 64 * 1024 * 1024;
constexpr unsigned long long kMostExtractedBytes = 256ULL * 1024 * 1024;

/// True if the file ends in a whole end record that states no entries. The
/// library takes an archive of nothing else for none at all, and one that is
/// cut within its end record for one without entries.
bool isEmptyArchive(const char* path) {
  const FileDescriptor file = openRegularFile(path);
  struct stat info {};
  if (!file || ::fstat(file.get(), &info) != 0) return false;
  const auto tailBytes = std::min<off_t>(info.st_size, kEndRecordBytes + kMostCommentBytes);
  std::string tail(static_cast<std::size_t>(tailBytes), '\0');
  if (readAt(file.get(), tail.data(), tail.size(), info.st_size - tailBytes) != tailBytes) {
    return false;
  }
  const std::size_t record = tail.rfind(kEndRecordMark);
  if (record == std::string::npos || tail.size() - record < kEndRecordBytes) return false;
  return tail.compare(record + kEntryCountAt, 2, std::string(2, '\0')) == 0;
}

/// An archive that is open; without a handle it is one of no entries.
struct Archive {
  bool opened = false;
  ZipHandle zip;
  ZPOS64_T entries = 0;
};

Archive openArchive(const char* path) {
  Archive archive;
  archive.zip.reset(zipOpen(path));
  unz_global_info64 info{};
  if (archive.zip && unzGetGlobalInfo64(archive.zip.get(), &info) != UNZ_OK) return archive;
  archive.entries = std::min<ZPOS64_T>(info.number_entry, kMostEntries);
  archive.opened = archive.entries > 0 || isEmptyArchive(path);
  return archive;
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
int walkEntries(const Archive& archive, const std::function<bool(const char*)>& visit) {
  char name[kNameBytes + 1];
  for (ZPOS64_T i = 0; i < archive.entries; ++i) {
    int error = i == 0 ? UNZ_OK : nextEntry(archive.zip.get());
    if (error == UNZ_OK) error = entryName(archive.zip.get(), name);
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
  FileDescriptor file = openRegularFile(path);
  if (!file) return nullptr;
  // The library closes the source with the archive, also with one that it
  // refuses to open.
  zlib_filefunc64_def functions = ZipSource::functions();
  return unzOpen2_64(new ZipSource(std::move(file)), &functions);
}

int ZipUtils::unZipToMem(const char* zipPath, const char* member, void* buffer, int size) {
  if (zipPath == nullptr || member == nullptr || buffer == nullptr || size <= 0) return kFailed;
  const Archive archive = openArchive(zipPath);
  if (!archive.opened) return kFailed;
  // An archive without entries counts as read, with nothing in the buffer:
  // callers see an empty member, not a missing one.
  if (archive.entries == 0) return UNZ_OK;
  return walkEntries(archive, [&](const char* name) {
    if (std::strncmp(name, member, kNameBytes) != 0) return false;
    return readEntry(archive.zip.get(), nullptr, [&] {
      fillBuffer(archive.zip.get(), static_cast<char*>(buffer), static_cast<std::size_t>(size));
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
  const Archive archive = openArchive(zipPath);
  if (!archive.opened) return kFailed;
  const std::string directory = PathUtils::getFileDirPath(targetPath);
  if (PathUtils::createDir(directory.c_str(), 0755) != 0) {
    error_output(0, __func__, __LINE__, "failed to create dir %s\n", directory.c_str());
    return kFailed;
  }
  bool written = false;
  const int result = walkEntries(archive, [&](const char* name) {
    if (std::strncmp(name, member, kNameBytes) != 0) return false;
    readEntry(archive.zip.get(), password,
              [&] { written = copyToFile(archive.zip.get(), targetPath); });
    return true;
  });
  return result == 0 && !written ? kFailed : result;
}

int ZipUtils::getZipFileList(const std::string& zipPath, std::vector<std::string>& out) {
  const Archive archive = openArchive(zipPath.c_str());
  if (!archive.opened) return kFailed;
  std::size_t listedBytes = 0;
  const int result = walkEntries(archive, [&](const char* name) {
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
