// getLinkedPath, which stands in front of every file read below a root, by the kernel's
// resolution and by the walk of old kernels.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/FileUtils.h"
#include "common/InspectedRoot.h"
#include "common/PathUtils.h"
#include "common/RootOpen.h"

using namespace LedgoraCollect;

namespace {

// A root under twelve directories, with files and links eight directories down.
class DeepRoot {
 public:
  DeepRoot() {
    char name[] = "/tmp/ledgora-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    mTop = name;
    mRoot = mTop + "/m/n/t/a/b/c/d/e/f/g/h/root";
    std::filesystem::create_directories(mRoot + kDirectory);
    std::ofstream(mRoot + kDirectory + "/file") << "text\n";
    std::filesystem::create_symlink(std::string(kDirectory) + "/file",
                                    mRoot + kDirectory + "/link");
    std::filesystem::create_directory_symlink("/usr/share", mRoot + "/share");
    InspectedRoot::setEnvironment(mRoot);
  }
  ~DeepRoot() {
    InspectedRoot::setEnvironment("");
    allowKernelResolution(true);
    std::filesystem::remove_all(mTop);
  }
  const std::string& root() const { return mRoot; }
  static constexpr const char* kDirectory = "/usr/share/one/two/three/four/five/six";

 private:
  std::string mTop, mRoot;
};

void linkedPath(benchmark::State& state, const char* name) {
  const DeepRoot deep;
  allowKernelResolution(state.range(0) != 0);
  const std::string path = deep.root() + name;
  for (auto _ : state) benchmark::DoNotOptimize(PathUtils::getLinkedPath(path, deep.root()));
}
#define LINKED_PATH(label, name) \
  BENCHMARK_CAPTURE(linkedPath, label, name)->ArgName("kernel")->Arg(1)->Arg(0)
LINKED_PATH(file, "/usr/share/one/two/three/four/five/six/file");
LINKED_PATH(missing, "/usr/share/one/two/three/four/five/six/missing");
LINKED_PATH(lastIsLink, "/usr/share/one/two/three/four/five/six/link");
LINKED_PATH(firstIsLink, "/share/one/two/three/four/five/six/file");

void readSmallFile(benchmark::State& state) {
  const DeepRoot deep;
  allowKernelResolution(state.range(0) != 0);
  const std::string path = deep.root() + DeepRoot::kDirectory + "/file";
  for (auto _ : state) {
    std::string text;
    benchmark::DoNotOptimize(FileUtils::readFileContent(path, text, 4096, 0));
  }
}
BENCHMARK(readSmallFile)->ArgName("kernel")->Arg(1)->Arg(0);

}  // namespace
