#include <cstdlib>

#include "hostmodel/ProcFileCollectionUnit.h"
#include "hostmodel/rootentry/MountInfo.h"
#include "hostmodel/rootentry/RootTarget.h"

// A line of a control group file: what is taken for an id is one. And the
// texts that decide how a root is entered.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  LedgoraCollect::ContainerInfo info;
  if (LedgoraCollect::ProcFileCollectionUnit::paramContainerInfo(text, info) &&
      (info.containerId.size() != 64 ||
       info.containerId.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789") !=
           std::string::npos)) {
    std::abort();
  }
  LedgoraCollect::ProcFileCollectionUnit::parseEnviron(text);
  LedgoraCollect::parseMountInfo(text);
  std::string prefix, pid;
  LedgoraCollect::parseProcessRoot(text, prefix, pid);
  return 0;
}
