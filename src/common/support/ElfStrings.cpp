#include "common/support/ElfStrings.h"

#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "common/support/ElfImage.h"
#include "common/support/Log.h"
#include "common/support/PlainFile.h"

namespace LedgoraCollect {
namespace {

constexpr std::uint64_t kMostWalkedBytes = 256ULL * 1024 * 1024;
constexpr std::size_t kChunkBytes = 64 * 1024;
constexpr std::size_t kShortestRun = 4;
// A longer run is given in pieces of this length, so that an expression never
// gets more text than a line of a file would have.
constexpr std::size_t kLongestPiece = 4095;

bool isPrintable(char byte) { return byte >= 0x20 && byte <= 0x7E; }

/// Collects runs of printable characters across chunks and hands each to the
/// match.
class RunCollector {
 public:
  using Match = bool (*)(std::string&, std::string&, const std::string&);

  RunCollector(elf_string_s& strings, Match match) : mStrings(strings), mMatch(match) {}

  /// Takes the next bytes of a range; true once a text matched.
  bool take(std::string_view bytes) {
    while (!bytes.empty()) {
      const auto end = std::find_if_not(bytes.begin(), bytes.end(), isPrintable);
      const auto printable = static_cast<std::size_t>(end - bytes.begin());
      if (takePrintable(bytes.substr(0, printable))) return true;
      bytes.remove_prefix(printable);
      if (bytes.empty()) break;
      if (endRun()) return true;
      const auto next = std::find_if(bytes.begin(), bytes.end(), isPrintable);
      bytes.remove_prefix(static_cast<std::size_t>(next - bytes.begin()));
    }
    return false;
  }

  /// Ends the run that stands at the end of a range.
  bool endRun() {
    const bool wanted = !mRun.empty() && (mLong || mRun.size() >= kShortestRun);
    const bool matched = wanted && give();
    mRun.clear();
    mLong = false;
    return matched;
  }

 private:
  bool takePrintable(std::string_view piece) {
    while (!piece.empty()) {
      const std::string_view part = piece.substr(0, kLongestPiece - mRun.size());
      mRun += part;
      piece.remove_prefix(part.size());
      if (mRun.size() < kLongestPiece) continue;
      if (give()) return true;
      mRun.clear();
      mLong = true;
    }
    return false;
  }

  bool give() { return mMatch(mRun, mStrings.result, mStrings.expression); }

  elf_string_s& mStrings;
  Match mMatch;
  std::string mRun;
  bool mLong = false;  ///< the run's first pieces were given already
};

/// Walks one range, at most `budget` bytes of it, which is what remains of
/// the limit. True once a text matched.
bool walkRange(int descriptor, const ElfRange& range, char* chunk, std::uint64_t& budget,
               RunCollector& runs) {
  std::uint64_t at = range.begin;
  while (at < range.end && budget > 0) {
    const std::uint64_t wanted =
        std::min({range.end - at, budget, static_cast<std::uint64_t>(kChunkBytes)});
    const ssize_t count =
        readAt(descriptor, chunk, static_cast<std::size_t>(wanted), static_cast<off_t>(at));
    if (count <= 0) break;  // cut short or gone bad meanwhile
    if (runs.take({chunk, static_cast<std::size_t>(count)})) return true;
    at += static_cast<std::uint64_t>(count);
    budget -= static_cast<std::uint64_t>(count);
  }
  return runs.endRun();
}

bool walkRanges(int descriptor, const std::vector<ElfRange>& ranges, RunCollector& runs) {
  const auto chunk = std::make_unique<char[]>(kChunkBytes);
  std::uint64_t budget = kMostWalkedBytes;
  for (const ElfRange& range : ranges) {
    if (walkRange(descriptor, range, chunk.get(), budget, runs)) return true;
    if (budget == 0) break;
  }
  return false;
}

}  // namespace

bool check_elf_file(FILE* stream, const char* path, Elf64_Ehdr* header) {
  if (stream == nullptr || header == nullptr || std::fseek(stream, 0, SEEK_SET) != 0) return false;
  char bytes[sizeof(Elf64_Ehdr)];
  const std::size_t count = std::fread(bytes, 1, sizeof bytes, stream);
  if (parseElfHeader({bytes, count}, *header)) return true;
  LEDGORA_DEBUG("%s is no elf file", path);
  return false;
}

// The file is read by pieces and not mapped: a program that is being replaced
// shrinks under the walk, and a mapping would then end the run by SIGBUS.
bool elf_parse(const char* path, elf_string_s* strings,
               bool (*match)(std::string& text, std::string& result,
                             const std::string& expression)) {
  const FileDescriptor file = openRegularFile(path);
  struct stat info {};
  if (!file || ::fstat(file.get(), &info) != 0 || info.st_size <= 0) return false;
  char bytes[sizeof(Elf64_Ehdr)];
  const ssize_t count = readAt(file.get(), bytes, sizeof bytes, 0);
  Elf64_Ehdr header{};
  if (count <= 0 || !parseElfHeader({bytes, static_cast<std::size_t>(count)}, header)) {
    return false;
  }
  const auto fileBytes = static_cast<std::uint64_t>(info.st_size);
  RunCollector runs(*strings, match);
  return walkRanges(file.get(), elfDataRanges(file.get(), header, fileBytes), runs);
}

}  // namespace LedgoraCollect
