#include "support/ZipBuilder.h"

#include <minizip/zip.h>
#include <zlib.h>

#include <stdexcept>

namespace LedgoraTest {
namespace {

void require(bool done) {
  if (!done) throw std::runtime_error("zip file can't be built");
}

}  // namespace

ZipBuilder::ZipBuilder(const std::string& path)
    : mZip(::zipOpen64(path.c_str(), APPEND_STATUS_CREATE)) {
  require(mZip != nullptr);
}

ZipBuilder::~ZipBuilder() {
  if (mZip != nullptr) ::zipClose(mZip, nullptr);
}

ZipBuilder& ZipBuilder::add(const std::string& name, std::string_view content, int level,
                            int repeated) {
  require(::zipOpenNewFileInZip64(mZip, name.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr,
                                  level == 0 ? 0 : Z_DEFLATED, level, 0) == ZIP_OK);
  for (int i = 0; i < repeated; ++i) {
    require(::zipWriteInFileInZip(mZip, content.data(), static_cast<unsigned>(content.size())) ==
            ZIP_OK);
  }
  require(::zipCloseFileInZip(mZip) == ZIP_OK);
  return *this;
}

void ZipBuilder::close() {
  require(::zipClose(mZip, nullptr) == ZIP_OK);
  mZip = nullptr;
}

}  // namespace LedgoraTest
