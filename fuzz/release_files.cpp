// Release files, through the questions that are put to them.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "collect/OsFacts.h"
#include "common/InspectedRoot.h"
#include "hostmodel/OsCollection.h"

using namespace LedgoraCollect;

namespace {

// One root for the whole run; every file of it is a link to the one text.
std::string makeRoot() {
  char pattern[] = "/tmp/fuzz-release-XXXXXX";
  if (::mkdtemp(pattern) == nullptr) std::abort();
  const std::string root = pattern;
  if (std::system(("mkdir " + root + "/etc").c_str()) != 0) std::abort();
  for (const char* name :
       {"os-release", ".kyinfo", ".productinfo", "product-info", "issue", "redhat-release"}) {
    if (::symlink("text", (root + "/etc/" + name).c_str()) != 0) std::abort();
  }
  InspectedRoot::setEnvironment(root);
  return root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string root = makeRoot();
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
