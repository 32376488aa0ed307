// chroot ROOT COMMAND [ARGUMENT...]: what stands for chroot(8) in the command
// lines that ask a mounted root or a container. The program is found by being
// the only one in its directory, which such lines have first in their PATH.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/support/InstallPath.h"
#include "common/support/Log.h"
#include "hostmodel/RootCommandPath.h"
#include "hostmodel/rootentry/DescriptorTable.h"
#include "hostmodel/rootentry/RootEntry.h"

namespace {

using namespace LedgoraCollect;

constexpr int kNotAssured = 125;
constexpr int kKeptLogs = 5;
// All else of the tool's own environment stays outside.
constexpr const char* kPassedOn[] = {"LEDGORA_START_TIME", "LANG"};

RootEntryRequest requestOf(int argc, char** argv) {
  RootEntryRequest request;
  request.root = argv[1];
  request.command.assign(argv + 2, argv + argc);
  const char* outer = std::getenv("PATH");
  const RootCommandPath path = readRootCommandPath(outer == nullptr ? "" : outer);
  request.path = path.inner;
  request.asProcess = path.asProcess;
  request.environment.push_back("PATH=" + path.inner);
  for (const char* name : kPassedOn) {
    const char* value = std::getenv(name);
    if (value != nullptr) request.environment.push_back(std::string(name) + "=" + value);
  }
  return request;
}

// Standard error is usually /dev/null here, so the log gets it, too.
void report(const std::string& root, const std::string& error) {
  std::fprintf(stderr, "chroot: %s: %s\n", root.c_str(), error.c_str());
  const std::string directory = installPath("@/../var/log/ledgora-agent");
  struct stat status;
  if (stat(directory.c_str(), &status) == 0) autolog_init(directory.c_str(), kKeptLogs);
  error_output(1, __func__, __LINE__, "command in root %s isn't run: %s", root.c_str(),
               error.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: chroot ROOT COMMAND [ARGUMENT...]\n", stderr);
    return kNotAssured;
  }
  const RootEntryRequest request = requestOf(argc, argv);
  std::string error = "descriptors";
  int status = kNotAssured;
  if (keepStandardDescriptorsOnly()) {
    error.clear();
    status = enterRootAndRun(request, error);
  }
  if (!error.empty()) report(request.root, error);
  // Nothing is left to do at the end of a process, and what a build with a
  // sanitizer does there needs threads: none can be made once the pid
  // namespace of the children is another.
  _exit(status);
}
