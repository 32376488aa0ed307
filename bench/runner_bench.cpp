// The command runner beside the ways of the C library. The difference is what
// a guard, a session of its own and the search for leftovers cost.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/CmdUtils.h"
#include "common/support/CommandRunner.h"

namespace {

using namespace LedgoraCollect;

/// Memory of the tool while it runs commands: a fork copies its page tables.
std::vector<char> touchedMemory(benchmark::State& state) {
  return std::vector<char>(static_cast<std::size_t>(state.range(0)) << 20, 'x');
}

void runnerTrue(benchmark::State& state) {
  const std::vector<char> memory = touchedMemory(state);
  char buffer[64];
  for (auto _ : state) {
    if (execute_plus("true", buffer, sizeof buffer, 30, 5) != 0) state.SkipWithError("failed");
  }
}
BENCHMARK(runnerTrue)->Arg(1)->Arg(16)->Arg(64)->UseRealTime()->Unit(benchmark::kMicrosecond);

void systemTrue(benchmark::State& state) {
  const std::vector<char> memory = touchedMemory(state);
  for (auto _ : state) {
    if (std::system("true") != 0) state.SkipWithError("failed");
  }
}
BENCHMARK(systemTrue)->Arg(1)->Arg(64)->UseRealTime()->Unit(benchmark::kMicrosecond);

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// Processor time of this program and of all processes that it has waited for, with theirs.
double processorSeconds() {
  double sum = 0;
  for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    getrusage(who, &usage);
    sum += seconds(usage.ru_utime) + seconds(usage.ru_stime);
  }
  return sum;
}

/// The target: 200 commands one after the other, guards and shells included.
void runnerTwoHundred(benchmark::State& state) {
  constexpr double kTargetSeconds = 2;
  state.SetLabel("elapsed: processor time with all children, target 2 s");
  char buffer[64];
  for (auto _ : state) {
    const double before = processorSeconds();
    for (int i = 0; i < 200; ++i) {
      if (execute_plus("true", buffer, sizeof buffer, 30, 5) != 0) state.SkipWithError("failed");
    }
    const double spent = processorSeconds() - before;
    state.SetIterationTime(spent);
    if (spent >= kTargetSeconds) state.SkipWithError("missed: over two seconds");
  }
}
BENCHMARK(runnerTwoHundred)->UseManualTime()->Unit(benchmark::kMillisecond);

constexpr const char* kManyLines = "seq 1 20000";

void runnerLines(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<std::string> lines;
    if (!CmdUtils::execCmd(kManyLines, lines, 30, 5, nullptr)) state.SkipWithError("failed");
    benchmark::DoNotOptimize(lines.data());
  }
}
BENCHMARK(runnerLines)->UseRealTime()->Unit(benchmark::kMillisecond);

void popenLines(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<std::string> lines;
    FILE* stream = popen(kManyLines, "r");
    char line[4096];
    while (fgets(line, sizeof line, stream) != nullptr) lines.emplace_back(line);
    if (pclose(stream) != 0) state.SkipWithError("failed");
    benchmark::DoNotOptimize(lines.data());
  }
}
BENCHMARK(popenLines)->UseRealTime()->Unit(benchmark::kMillisecond);

/// A background child in a session of its own: found, ended and reaped.
void runnerLeftover(benchmark::State& state) {
  char buffer[64];
  for (auto _ : state) {
    execute_plus("setsid sleep 100 &", buffer, sizeof buffer, 30, 5);
  }
}
BENCHMARK(runnerLeftover)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
