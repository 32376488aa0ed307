#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace LedgoraTest {

/// Builds a zip file at a path, entry by entry. What can't be built throws.
class ZipBuilder {
 public:
  explicit ZipBuilder(const std::string& path);
  ~ZipBuilder();
  ZipBuilder(const ZipBuilder&) = delete;
  ZipBuilder& operator=(const ZipBuilder&) = delete;

  /// Adds an entry whose data are `content`, `repeated` times. `level` 0
  /// stores it as it is.
  ZipBuilder& add(const std::string& name, std::string_view content, int level = 6,
                  int repeated = 1);
  /// Writes the directory; with more than 65,534 entries as the 64-bit form
  /// demands, which the library's own writer forgets.
  void close();

 private:
  void addWideEndRecord() const;

  std::string mPath;
  std::uint64_t mEntries = 0;
  void* mZip;
};

}  // namespace LedgoraTest
