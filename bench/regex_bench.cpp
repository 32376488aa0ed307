// The expression wrappers: what a rule costs on a short text, what a file costs.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "common/RegexUtils.h"

using namespace LedgoraCollect;

namespace {

void regexShortText(benchmark::State& state) {
  std::string text = "OpenJDK Runtime Environment (build 17.0.9+9-Debian-1deb12u1)", result;
  const std::string expression = "build ([0-9]+(\\.[0-9]+)*)";
  for (auto _ : state) benchmark::DoNotOptimize(regex_interface(text, result, expression));
}
BENCHMARK(regexShortText);

// As a walk over processes uses them: hundreds of expressions in turn on each text.
void regexManyExpressions(benchmark::State& state) {
  std::vector<std::string> expressions;
  for (int i = 0; i < 400; ++i) {
    expressions.push_back("(^|/)program" + std::to_string(i) + "(-[0-9.]+)?$");
  }
  std::string text = "/opt/vendor/lib/program7-2.1/bin/program7-2.1";
  for (auto _ : state) {
    for (const std::string& expression : expressions) {
      benchmark::DoNotOptimize(regex_match(text, expression));
    }
  }
  state.SetItemsProcessed(state.iterations() * 400);
}
BENCHMARK(regexManyExpressions);

std::string configuration(std::size_t bytes) {
  std::string text;
  for (int i = 0; text.size() < bytes; ++i) {
    text += "option" + std::to_string(i) + " = some value with blanks and 12.5\n";
  }
  return text + "version=\"9.8.7\"\n";
}

void regexLargeText(benchmark::State& state, const char* expression) {
  std::string text = configuration(20 << 20), result;
  for (auto _ : state) benchmark::DoNotOptimize(regex_interface(text, result, expression));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK_CAPTURE(regexLargeText, literal, "version=\"([^\"]+)\"");
BENCHMARK_CAPTURE(regexLargeText, caseless, "(?i)VERSION\\s*=\\s*\"*([0-9.]+)");
BENCHMARK_CAPTURE(regexLargeText, class, "[A-Z][a-z]+=([0-9.]+)");

void regexAllMatches(benchmark::State& state) {
  std::string text = configuration(1 << 20);
  for (auto _ : state) {
    std::vector<std::string> results;
    regexInterfaceGetAll(text, results, "option([0-9]+) = ");
    benchmark::DoNotOptimize(results.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(regexAllMatches);

void regexBacktracksForever(benchmark::State& state) {
  std::string text(1 << 20, 'a'), result;
  for (auto _ : state) benchmark::DoNotOptimize(regex_interface(text, result, "(a+a+)+[bc]"));
}
BENCHMARK(regexBacktracksForever)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
