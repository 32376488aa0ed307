#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

class DpkgFileCollectionUnit;

/// One installed package of dpkg's status file.
struct DPKG_PKG_INFO {
  std::string name;
  std::string version;
  std::string installTime;    ///< time of the list file, milliseconds as text; empty without one
  std::string description;    ///< first line, with the blank that the assembly puts behind it
  std::string installedSize;  ///< KiB, as written
  std::string architecture;
  std::string status;    ///< with the blank behind it
  std::string listPath;  ///< as the inspected machine names it; empty if none was found
  std::vector<std::string> configFiles;  ///< sorted, without doubles
};

/// A stanza longer than this, terminator included, loses its end.
constexpr int kDpkgSectionBytes = 8192;

/// One pass through the status file. Made of zeros at its start.
struct S_DPKG_STATUS_PARAM {
  char section[kDpkgSectionBytes];  ///< the stanza assembled so far
  int length;                       ///< of section
  int fieldLines;                   ///< lines appended since the last field began
  DpkgFileCollectionUnit* owner;    ///< gets the finished stanzas; may be null in tests
  const char* filterPath;           ///< may be null
};

}  // namespace LedgoraCollect
