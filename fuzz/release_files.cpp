// Release files, through the questions that are put to them.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "collect/OsFacts.h"
#include "common/InspectedRoot.h"
#include "hostmodel/OsCollection.h"

using namespace LedgoraCollect;
namespace fs = std::filesystem;

namespace {

// One root for the whole run; every file of it is a link to the one text.
struct ReleaseRoot {
  ReleaseRoot() {
    char pattern[] = "/tmp/fuzz-release-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) std::abort();
    path = pattern;
    fs::create_directory(path / "etc");
    for (const char* name :
         {"os-release", ".kyinfo", ".productinfo", "product-info", "issue", "redhat-release"}) {
      fs::create_symlink("text", path / "etc" / name);
    }
    InspectedRoot::setEnvironment(path);
  }
  ~ReleaseRoot() {
    std::error_code gone;
    fs::remove_all(path, gone);
  }
  fs::path path;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ReleaseRoot releaseRoot;
  const std::string root = releaseRoot.path;
  std::ofstream(root + "/etc/text", std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  OS_RELEASE release;
  parseOsRelease(root, release);
  getOsVersionFromMultiFiles(root);
  for (const char* osName : {"kylin", "uos", "ubuntu", "debian", "asianux"}) {
    OsCollection os;
    os.setEnvironment(root);
    os.setOsCacheUnit({"", osName});
    os.collect();
    const std::string& hostType = os.getOsCacheUnit().hostType;
    if (hostType != "server" && hostType != "pc") __builtin_trap();
    findOsEdition(root, osName, hostType);
  }
  return 0;
}
