#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace LedgoraCollect {

/// Collects the lines of a command's output as it comes in pieces; the same
/// lines result however the pieces are cut.
struct CommandLines {
  /// A line of more characters is dropped whole.
  static constexpr std::size_t kLongestLine = 4094;

  std::vector<std::string> lines;  ///< complete lines so far, empty ones left out
  char carry[4096] = {};           ///< an unfinished last line, zero-terminated

  /// What becomes of the rest of the unfinished line.
  enum class Rest {
    Taken,
    Cut,      ///< a zero byte cut the line: what follows it isn't taken
    Dropped,  ///< the line is too long
  } rest = Rest::Taken;
  std::size_t carried = 0;    ///< characters in carry
  std::size_t heldBytes = 0;  ///< what the lines take in memory
  int droppedLines = 0;

  /// Takes the next piece of output.
  void append(std::string_view piece);
  /// Ends the last line, which may have no line end.
  void finish();

 private:
  void appendToLine(std::string_view piece);
  void endLine();
};

}  // namespace LedgoraCollect
