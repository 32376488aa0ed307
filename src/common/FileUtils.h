#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

/// Reading of files and directories, safe inside inspected roots (see InspectedRoot.h): a
/// path below the run's environment or a container's root never leads out of it. Only regular
/// files (with those of proc and sys) are read; fifos, sockets and devices count as unreadable.
class FileUtils {
 public:
  /// Appends a file's content, up to its first zero byte, to `out`. At most `maximum` bytes
  /// are read. In files whose size reads 0 (proc) zero bytes first become `replacement`,
  /// unless that is 0. Returns false if the file is missing or unreadable (level 1).
  static bool readFileContent(const std::string& path, std::string& out, int maximum,
                              char replacement);

  /// Calls back with each line, without its line feed, until it returns true.
  /// Returns true only if the callback ended the reading: false at the end of the file.
  static bool readFileLines(const std::string& path,
                            bool (*callback)(const std::string& line, std::string& out),
                            std::string& out);

  /// As above, but returns true for every file that could be opened.
  static bool readFileLines(const std::string& path,
                            bool (*callback)(const std::string& line, void* context),
                            void* context);

  /// Calls back with the joined path of each entry but "." and "..", in directory order,
  /// until it returns true. Without a callback the paths are appended to `out`. Returns false
  /// only if the directory can't be listed.
  static bool readDirFiles(const std::string& directory,
                           bool (*callback)(const std::string& path, std::vector<std::string>& out),
                           std::vector<std::string>& out);

  /// As above, with a context of the caller's.
  static bool readDirFiles(const std::string& directory,
                           bool (*callback)(const std::string& path, void* context), void* context);

  /// Time of last modification in seconds since the epoch with "000" appended. Empty if the
  /// file is missing or its time is 0 (level 1).
  static std::string getFileModifyTime(std::string& path);

  /// True if the base name ends in ".jar" (case-sensitive).
  static bool isJarFile(const std::string& path);
};

}  // namespace LedgoraCollect
