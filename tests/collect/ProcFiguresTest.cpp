#include <gtest/gtest.h>

#include "collect/status/ProcFigures.h"

using namespace LedgoraCollect;

TEST(ParseCpuInfo, UntilModelAndFrequencyAreKnown) {
  const struct {
    const char* what;
    const char* text;
    const char* model;
    double ghz;
  } cases[] = {
      {"x86",
       "processor\t: 0\nmodel name\t: Intel(R) Xeon(R) CPU: E5\ncpu MHz\t\t: 2500.000\n\n"
       "processor\t: 1\nmodel name\t: Other\ncpu MHz\t\t: 1200.5\n",
       "Intel(R) Xeon(R) CPU: E5", 2.5},
      {"idle first processor", "cpu MHz : 0.000\nmodel name : A\ncpu MHz : 800.000\n", "A", 0.8},
      {"virtual machine without frequency", "model name\t: A\n\nmodel name\t: B\n", "B", 0},
      {"arm has neither", "processor\t: 0\nBogoMIPS\t: 50.00\n", "", 0},
      {"no colon, no value", "model name\nmodel name :\ncpu MHz : fast\n", "", 0},
      {"empty", "", "", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const CpuDescription_S cpu = parseCpuInfo(c.text);
    EXPECT_EQ(cpu.model, c.model);
    EXPECT_NEAR(cpu.frequencyGhz, c.ghz, 1e-6);
  }
}

TEST(CpuUse, ShareOfTheTimeBetweenTwoReadings) {
  const struct {
    const char* what;
    const char* first;
    const char* second;
    double percent;
  } cases[] = {
      {"a quarter idle", "cpu  100 0 100 1000 0 0 0 9 9 9\n", "cpu  150 0 120 1025 5 0 0 9 9 9\n",
       75},
      {"no time passed", "cpu  1 2 3 4 5 6 7\n", "cpu  1 2 3 4 5 6 7\n", 0},
      {"counters beyond 32 bits", "cpu  4294967290 0 0 8589934590 0 0 0\n",
       "cpu  4294967300 0 0 8589934680 0 0 0\n", 10},
      {"idle counter steps back", "cpu  100 0 0 1000 0 0 0\n", "cpu  210 0 0 990 0 0 0\n", 110},
      {"no stat file", "", "", 0},
      {"words for numbers", "cpu one two\n", "cpu three\n", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_NEAR(calCpuUse(parseCpuTimes(c.first), parseCpuTimes(c.second)), c.percent, 1e-9);
  }
}

TEST(ParseMemInfo, TotalAndUsed) {
  const struct {
    const char* what;
    const char* text;
    const char* want;
  } cases[] = {
      {"as kernels write it",
       "MemTotal:        8000000 kB\nMemFree:         1000000 kB\nMemAvailable:    9 kB\n"
       "Buffers:  5 kB\nCached:          2000000 kB\nSwapCached:      7777777 kB\n",
       "7812MB 4882MB"},
      {"more cached than used", "MemTotal: 1000 kB\nMemFree: 600 kB\nCached: 500 kB\n", "0MB 0MB"},
      {"exactly nothing used", "MemTotal: 2048 kB\nMemFree: 1024 kB\nCached: 1024 kB\n", "2MB 0MB"},
      {"cut file", "MemTotal: 4096 kB\nMemFr", "4MB 4MB"},
      {"first line of each counts", "MemTotal: 4096 kB\nMemTotal: 1 kB\nMemFree: 0 kB\n",
       "4MB 4MB"},
      {"empty", "", "0MB 0MB"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const MemoryFigures_S memory = parseMemInfo(c.text);
    EXPECT_EQ(memory.total + " " + memory.used, c.want);
  }
}

TEST(ParseLoadAverage, ThreeWords) {
  EXPECT_EQ(parseLoadAverage("0.52 0.58 0.59 1/389 12345\n"), "0.52;0.58;0.59");
  EXPECT_EQ(parseLoadAverage("0.52 0.58\n"), "");
}
