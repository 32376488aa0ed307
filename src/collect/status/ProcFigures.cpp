#include "collect/status/ProcFigures.h"

#include <array>
#include <cctype>
#include <cstdint>
#include <cstdlib>

#include "collect/support/TextLines.h"
#include "common/RegexUtils.h"
#include "common/StringUtils.h"

namespace LedgoraCollect {

namespace {

constexpr char kBlanks[] = " \r\n\t";

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// Takes the next word off the front of `text`; empty at its end.
std::string_view takeWord(std::string_view& text) {
  const auto isBlank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  std::size_t length = 0;
  while (length < text.size() && !isBlank(text[length])) ++length;
  const std::string_view word = text.substr(0, length);
  text.remove_prefix(length);
  return word;
}

/// The number's low 32 bits. On machines with many processors the counters
/// pass that size after some weeks.
unsigned int ticksOf(std::string_view word) {
  std::uint64_t ticks = 0;
  for (const char c : word) {
    if (c < '0' || c > '9') break;
    ticks = ticks * 10 + static_cast<std::uint64_t>(c - '0');
  }
  return static_cast<unsigned int>(ticks);
}

unsigned int totalTicks(const _CPU_MODEL_INFO_& times) {
  return times.user + times.nice + times.system + times.idle + times.iowait + times.irq +
         times.softirq;
}

constexpr struct {
  std::string_view key;
  std::size_t slot;
} kMemoryKeys[] = {{"MemTotal", 0}, {"MemFree", 1}, {"Cached", 2}};

}  // namespace

CpuDescription_S parseCpuInfo(std::string_view text) {
  CpuDescription_S cpu;
  forEachLine(text, [&cpu](std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return true;
    const std::string_view key = line.substr(0, colon);
    const std::string value = StringUtils::trim(std::string(line.substr(colon + 1)), kBlanks);
    if (contains(key, "model name")) cpu.model = value;
    if (contains(key, "cpu MHz")) {
      cpu.frequencyGhz = static_cast<double>(std::strtof(value.c_str(), nullptr) / 1000);
    }
    return cpu.model.empty() || !(cpu.frequencyGhz > 0);
  });
  return cpu;
}

_CPU_MODEL_INFO_ parseCpuTimes(std::string_view text) {
  _CPU_MODEL_INFO_ times;
  std::string_view line = text.substr(0, text.find('\n'));
  times.name = std::string(takeWord(line));
  constexpr std::array kFields{&_CPU_MODEL_INFO_::user,   &_CPU_MODEL_INFO_::nice,
                               &_CPU_MODEL_INFO_::system, &_CPU_MODEL_INFO_::idle,
                               &_CPU_MODEL_INFO_::iowait, &_CPU_MODEL_INFO_::irq,
                               &_CPU_MODEL_INFO_::softirq};
  for (const auto field : kFields) times.*field = ticksOf(takeWord(line));
  return times;
}

double calCpuUse(const _CPU_MODEL_INFO_& first, const _CPU_MODEL_INFO_& second) {
  const unsigned int delta = totalTicks(second) - totalTicks(first);
  if (delta == 0) return 0;
  // Signed, because the kernel's idle counter may step back by a few ticks.
  const int idle = static_cast<int>(second.idle - first.idle);
  return 100.0 - static_cast<double>(idle) / static_cast<double>(static_cast<int>(delta)) * 100.0;
}

MemoryFigures_S parseMemInfo(std::string_view text) {
  std::array<std::string, std::size(kMemoryKeys)> found;
  forEachLine(text, [&found](std::string_view line) {
    bool complete = true;
    for (const auto& [key, slot] : kMemoryKeys) {
      if (found[slot].empty() && contains(line, key)) {
        std::string whole(line);
        regex_interface(whole, found[slot], "[0-9]+");
      }
      complete = complete && !found[slot].empty();
    }
    return !complete;
  });
  const auto kibibytes = [&found](std::size_t slot) {
    return std::strtol(found[slot].c_str(), nullptr, 10);
  };
  const long total = kibibytes(0);
  const std::int64_t used = static_cast<std::int64_t>(static_cast<std::uint64_t>(total) -
                                                      static_cast<std::uint64_t>(kibibytes(1)) -
                                                      static_cast<std::uint64_t>(kibibytes(2)));
  // Where more is cached than the two other figures leave, the total is
  // reported as 0 too. Consumers take that pair for "not known".
  if (used < 0) return {"0MB", "0MB"};
  return {std::to_string(total / 1024) + "MB", std::to_string(used >> 10) + "MB"};
}

std::string parseLoadAverage(std::string_view text) {
  std::string averages;
  for (int i = 0; i < 3; ++i) {
    const std::string_view word = takeWord(text);
    if (word.empty()) return "";
    if (i > 0) averages += ';';
    averages += word;
  }
  return averages;
}

}  // namespace LedgoraCollect
