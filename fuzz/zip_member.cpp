// Any bytes as a zip file: the list of its names, its manifest and a small
// read of whatever member comes first.
#include <string>
#include <vector>

#include "ScratchFile.h"
#include "common/ZipUtils.h"

using LedgoraCollect::ZipUtils;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static ScratchFile file;
  file.write(data, size);
  std::string manifest;
  if (ZipUtils::getManifest(file.path(), manifest) && manifest.size() > 4095) std::abort();
  std::vector<std::string> names;
  ZipUtils::getZipFileList(file.path(), names);
  if (!names.empty()) {
    char buffer[64];
    ZipUtils::unZipToMem(file.path(), names.front().c_str(), buffer, sizeof buffer);
  }
  return 0;
}
