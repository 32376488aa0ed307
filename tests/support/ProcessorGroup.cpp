#include "support/ProcessorGroup.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace LedgoraTest {

namespace {

std::string processorHierarchy() {
  std::ifstream mounts("/proc/self/mounts");
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string device, directory, type, options;
    fields >> device >> directory >> type >> options;
    if (type == "cgroup" && ("," + options + ",").find(",cpu,") != std::string::npos) {
      return directory;
    }
  }
  return "";
}

}  // namespace

ProcessorGroup::ProcessorGroup() {
  static const std::string hierarchy = processorHierarchy();
  static int number = 0;
  if (hierarchy.empty()) return;
  mPath = hierarchy + "/ledgora_test_" + std::to_string(getpid()) + "_" + std::to_string(++number);
  if (mkdir(mPath.c_str(), 0755) != 0) mPath.clear();
}

ProcessorGroup::~ProcessorGroup() {
  if (mPath.empty()) return;
  rmdir((mPath + "/ledgora_collect").c_str());
  rmdir(mPath.c_str());
}

void ProcessorGroup::enter() const {
  if (!mPath.empty()) std::ofstream(mPath + "/cgroup.procs") << 0 << std::endl;
}

}  // namespace LedgoraTest
