#pragma once

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
  /// Writes the directory. Done by the destructor too.
  void close();

 private:
  void* mZip;
};

}  // namespace LedgoraTest
