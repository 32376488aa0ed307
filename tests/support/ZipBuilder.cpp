#include "support/ZipBuilder.h"

#include <minizip/zip.h>
#include <zlib.h>

#include <fstream>
#include <stdexcept>

#include "support/TempRoot.h"

namespace LedgoraTest {
namespace {

void require(bool done) {
  if (!done) throw std::runtime_error("zip file can't be built");
}

void appendNumber(std::string& out, std::uint64_t number, int bytes) {
  for (int i = 0; i < bytes; ++i) out += static_cast<char>(number >> 8 * i & 0xFF);
}

}  // namespace

ZipBuilder::ZipBuilder(const std::string& path)
    : mPath(path), mZip(::zipOpen64(path.c_str(), APPEND_STATUS_CREATE)) {
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
  ++mEntries;
  return *this;
}

void ZipBuilder::close() {
  require(::zipClose(mZip, nullptr) == ZIP_OK);
  mZip = nullptr;
  if (mEntries >= 0xFFFF) addWideEndRecord();
}

void ZipBuilder::addWideEndRecord() const {
  constexpr std::size_t kEndRecordBytes = 22;
  const std::string zip = readWhole(mPath);
  const std::size_t recordAt = zip.size() - kEndRecordBytes;
  std::string wide("PK\6\6", 4);
  appendNumber(wide, 44, 8);             // bytes that follow
  appendNumber(wide, 45 << 16 | 45, 4);  // versions
  appendNumber(wide, 0, 8);              // disks
  appendNumber(wide, mEntries, 8);
  appendNumber(wide, mEntries, 8);
  wide += zip.substr(recordAt + 12, 4) + std::string(4, '\0');  // size of the directory
  wide += zip.substr(recordAt + 16, 4) + std::string(4, '\0');  // where it begins
  wide += std::string("PK\6\7\0\0\0\0", 8);
  appendNumber(wide, recordAt, 8);
  appendNumber(wide, 1, 4);
  std::ofstream(mPath, std::ios::binary) << zip.substr(0, recordAt) << wide << zip.substr(recordAt);
}

}  // namespace LedgoraTest
