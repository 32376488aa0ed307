#pragma once

#include <string>
#include <vector>

#include "hostmodel/CollectionBase.h"

namespace LedgoraCollect {

/// File questions to the inspected root: each operation puts the root in
/// front of its path and forwards to the FileUtils operation of its name,
/// with the same arguments and results.
class FileCollectionUnit : public CollectionBase {
 public:
  /// Appends at most `maximum` bytes of the file to `out`; zero bytes of a
  /// proc file become `replacement` unless that is 0. True on success.
  bool readFileContent(const std::string& path, std::string& out, int maximum,
                       char replacement) const;
  /// True when the callback ended the reading by returning true.
  bool readFileLines(const std::string& path,
                     bool (*callback)(const std::string& line, std::string& out),
                     std::string& out) const;
  /// True when the file could be opened, whatever the callback returned. A
  /// true from the callback still ends the reading.
  bool readFileLines(const std::string& path,
                     bool (*callback)(const std::string& line, void* context), void* context) const;
  /// Time of the last modification in seconds with "000" behind; empty when unknown.
  std::string getFileModifyTime(const std::string& path) const;
  /// Calls back with each entry's full path (prefix included); a null callback
  /// appends the paths to `out`. True when the directory could be opened.
  bool readDirFiles(const std::string& directory,
                    bool (*callback)(const std::string& path, std::vector<std::string>& out),
                    std::vector<std::string>& out) const;
  bool readDirFiles(const std::string& directory,
                    bool (*callback)(const std::string& path, void* context), void* context) const;
};

}  // namespace LedgoraCollect
