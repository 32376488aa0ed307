#pragma once

#include <string_view>

#include "common/support/Handles.h"

namespace LedgoraCollect {

/// The file "collect.log", which several runs write at once.
class LogFile {
 public:
  /// Opens (or makes, mode 0640) the file in `directory`. If it is over
  /// `rotateBytes` it is renamed to "collect.log.1", older ones move up, and
  /// at most `oldFiles` of them stay. A link or anything but a regular file
  /// in the way is refused. False with errno set if there is no file to write.
  bool open(const char* directory, int oldFiles, long long rotateBytes);

  bool isOpen() const { return static_cast<bool>(mFile); }

  /// Appends `record` by one write, so that records of several runs don't mix.
  void write(std::string_view record) const;

 private:
  FileDescriptor mFile;
};

}  // namespace LedgoraCollect
