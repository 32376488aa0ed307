#pragma once

#include <minizip/unzip.h>

#include <string>
#include <vector>

namespace LedgoraCollect {

/// Opens a zip file for reading, never leaving the inspected root that its
/// path lies in. Null if it can't be opened or is no zip file. The caller
/// closes it with unzClose.
unzFile zipOpen(const char* path);

/// Reads members of zip files (Java archives). Every operation opens and
/// closes the file itself. At most a million entries are walked.
class ZipUtils {
 public:
  /// Reads `member` (exact name, case counts) into `buffer`, at most `size`
  /// bytes, without terminating it. 0 if it was read, and for an archive
  /// without entries; -1 if an argument is missing or the file is no readable
  /// zip file; -100 without such a member; else the archive library's error.
  static int unZipToMem(const char* zipPath, const char* member, void* buffer, int size);

  /// The first 4,095 bytes of META-INF/MANIFEST.MF up to a zero byte. False
  /// (and `out` unchanged) if it can't be read.
  static bool getManifest(const char* zipPath, std::string& out);

  /// Extracts one member, of at most 256 MiB, to `targetPath`, making its
  /// directory (mode 0755). Results as of unZipToMem; -1 if the target can't
  /// be written. `password` may be null.
  static int unZipToFile(const char* zipPath, const char* member, const char* targetPath,
                         const char* password);

  /// Appends the names of all entries. 0 if all were read, -1 if the file
  /// doesn't open, else the archive library's error.
  static int getZipFileList(const std::string& zipPath, std::vector<std::string>& out);
};

}  // namespace LedgoraCollect
