// Service discovery against the growth of a machine: unit files and processes.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "hostmodel/ServicesCollectionUnit.h"

using namespace LedgoraCollect;
namespace fs = std::filesystem;

namespace {

class UnitRoot {
 public:
  explicit UnitRoot(int units) {
    char pattern[] = "/tmp/ledgora-bench-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) std::abort();
    mPath = pattern;
    const fs::path directory = mPath / "usr/lib/systemd/system";
    fs::create_directories(directory);
    for (int i = 0; i < units; ++i) {
      const std::string name = "service" + std::to_string(i);
      std::ofstream(directory / (name + ".service"))
          << "[Unit]\nDescription=Service\nAfter=network.target\n\n[Service]\nType=simple\n"
          << "User=www\nExecStart=/usr/bin/" << name << " --foreground\nRestart=always\n\n"
          << "[Install]\nWantedBy=multi-user.target\n";
    }
  }
  ~UnitRoot() { fs::remove_all(mPath); }
  std::string path() const { return mPath.string(); }

 private:
  fs::path mPath;
};

ServicesCollectionUnit::Processes processTable(int count) {
  ServicesCollectionUnit::Processes table;
  for (int pid = 1; pid <= count; ++pid) {
    ProcessCacheUnit unit;
    unit.setProcessPid(pid);
    unit.setProcessName("process" + std::to_string(pid));
    unit.setProcessPath("/usr/bin/process" + std::to_string(pid));
    table.emplace(pid, unit);
  }
  return table;
}

void discoverServices(benchmark::State& state) {
  const UnitRoot root(static_cast<int>(state.range(0)));
  const auto processes = processTable(static_cast<int>(state.range(1)));
  for (auto _ : state) {
    const std::unique_ptr<ServicesCollectionUnit> source(
        ServicesCollectionUnit::getInstance(SERVICE_TYPE_SYSTEMCTL));
    source->setEnvironment(root.path());
    std::vector<ServiceCacheUnit> services;
    std::set<std::string> seen;
    source->collectServices(services, seen, processes);
    if (services.size() != static_cast<std::size_t>(state.range(0))) {
      state.SkipWithError("services are missing");
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

}  // namespace

BENCHMARK(discoverServices)
    ->Args({100, 250})
    ->Args({800, 250})
    ->Args({100, 2000})
    ->Args({800, 2000});
