#pragma once

#include <string>
#include <string_view>

namespace LedgoraCollect {

/// What /proc/cpuinfo tells of the processors.
struct CpuDescription_S {
  std::string model;
  double frequencyGhz = 0;  // 0: not told
};

/// Model name and frequency in the text of /proc/cpuinfo. The reading ends when
/// both are known; where one never is, the other is the last processor's.
CpuDescription_S parseCpuInfo(std::string_view text);

/// The first line of /proc/stat: ticks since boot, summed over all processors.
/// The numbers wrap around at 32 bits; differences of two readings don't care.
struct _CPU_MODEL_INFO_ {
  std::string name;
  unsigned int user = 0;
  unsigned int nice = 0;
  unsigned int system = 0;
  unsigned int idle = 0;
  unsigned int iowait = 0;
  unsigned int irq = 0;
  unsigned int softirq = 0;
};

/// Reads the first line of the text of /proc/stat. Numbers that are missing stay 0.
_CPU_MODEL_INFO_ parseCpuTimes(std::string_view text);

/// Percentage of the time between two readings in which the processors weren't
/// idle. 0 when no time has passed.
double calCpuUse(const _CPU_MODEL_INFO_& first, const _CPU_MODEL_INFO_& second);

/// Memory as it stands in the document: whole mebibytes with "MB" behind.
struct MemoryFigures_S {
  std::string total;
  std::string used;
};

/// Total memory, and total less free less cached, from the text of
/// /proc/meminfo. Both are "0MB" when the second would be negative.
MemoryFigures_S parseMemInfo(std::string_view text);

/// The three averages of the text of /proc/loadavg joined with ";". Empty when
/// there are fewer than three words.
std::string parseLoadAverage(std::string_view text);

}  // namespace LedgoraCollect
