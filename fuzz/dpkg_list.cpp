// A package's list file, line by line, with and without the filter.
#include <cstdint>
#include <cstdlib>
#include <sstream>

#include "package/DpkgFileCollectionUnit.h"
#include "package/PkgFileFilter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const LedgoraCollect::DpkgFileCollectionUnit unit;
  std::vector<std::string> kept;
  std::vector<std::string> all;
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  for (std::string line; std::getline(lines, line);) {
    if (all.size() < 1024) unit.readLineDpkgListFile(line, "", &all, nullptr);
    if (unit.readLineDpkgListFile(line, "/", &kept, LedgoraCollect::pkgFileFilter)) break;
  }
  if (kept.size() > 1024 || kept.size() > all.size()) std::abort();
  return 0;
}
