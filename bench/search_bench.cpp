// The rule file search on a large tree: how long a walk takes that lists it,
// and how long a search in what was listed. Target: under one second of the
// processor for both.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "software/SoftwareSearchFile.h"

using namespace LedgoraCollect;
namespace fs = std::filesystem;

namespace {

constexpr int kBranches = 20;
constexpr int kTwigs = 10;
constexpr int kFiles = 1000;

/// 200,000 files in 200 directories, each with links to itself, to the top, to
/// another directory and to nothing; and one path deeper than a walk goes.
class Tree {
 public:
  Tree() {
    char pattern[] = "/tmp/ledgora-bench-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) std::abort();
    mPath = pattern;
    for (int branch = 0; branch < kBranches; ++branch) {
      for (int twig = 0; twig < kTwigs; ++twig) fill(directory(branch, twig), twig);
    }
    fs::path deep = mPath / "deep";
    for (int level = 0; level < 100; ++level) deep /= "d";
    fs::create_directories(deep);
  }
  ~Tree() { fs::remove_all(mPath); }
  std::string path() const { return mPath.string(); }

 private:
  fs::path directory(int branch, int twig) const {
    return mPath / ("branch" + std::to_string(branch)) / ("twig" + std::to_string(twig));
  }
  void fill(const fs::path& directory, int twig) {
    fs::create_directories(directory);
    for (int i = 0; i < kFiles; ++i) std::ofstream(directory / ("file" + std::to_string(i)));
    fs::create_directory_symlink(".", directory / "self");
    fs::create_directory_symlink("../..", directory / "top");
    fs::create_directory_symlink("../twig" + std::to_string((twig + 1) % kTwigs),
                                 directory / "next");
    fs::create_symlink("/nowhere/at/all", directory / "dangling");
  }

  fs::path mPath;
};

const Tree& tree() {
  static const Tree instance;
  return instance;
}

void searchWalk(benchmark::State& state) {
  const std::string top = tree().path();
  PROC_EX_INFO_S proc;
  std::size_t files = 0;
  for (auto _ : state) {
    std::vector<std::string> list;
    std::vector<std::string> directories;
    unsigned long size = 0;
    softwareSearchFile::getInstance()->getAllDirectorFile(&proc, top, list, directories, &size);
    files = list.size();
  }
  state.counters["files"] = static_cast<double>(files);
}
BENCHMARK(searchWalk)->Unit(benchmark::kMillisecond);

/// Walk and match together, as a rule's search that finds nothing. The list is
/// over the size that is remembered, so every search walks.
void searchWholeTree(benchmark::State& state) {
  PROC_EX_INFO_S proc;
  std::vector<std::string> bases{tree().path()};
  std::string expression = "/conf/server\\.(xml|conf)$";
  std::string type = "document";
  for (auto _ : state) {
    std::string found;
    softwareSearchFile::getInstance()->searchFileByRule(&proc, bases, expression, found, type);
    if (!found.empty()) state.SkipWithError("found");
  }
}
BENCHMARK(searchWholeTree)->Unit(benchmark::kMillisecond);

}  // namespace
