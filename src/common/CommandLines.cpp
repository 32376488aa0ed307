#include "common/CommandLines.h"

#include <cstring>

#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

/// What the lines of one command may take: a command that writes without end
/// until its limit must not take the machine's memory. Package lists and file
/// lists of large machines are a tenth of it.
constexpr std::size_t kMostHeldBytes = 64U << 20;
/// A command that writes nothing but long lines must not fill the log.
constexpr int kMostMessages = 16;

}  // namespace

void CommandLines::append(std::string_view piece) {
  for (;;) {
    const std::size_t end = piece.find('\n');
    appendToLine(piece.substr(0, end));
    if (end == std::string_view::npos) return;
    endLine();
    piece.remove_prefix(end + 1);
  }
}

void CommandLines::finish() { endLine(); }

void CommandLines::appendToLine(std::string_view piece) {
  if (rest != Rest::Taken) return;
  const std::size_t zero = piece.find('\0');
  const std::string_view taken = piece.substr(0, zero);
  if (carried + taken.size() > kLongestLine) {
    if (++droppedLines <= kMostMessages) {
      error_output(1, "readPipeByLine", __LINE__, "Read line more than %d, skipped",
                   static_cast<int>(sizeof carry));
    }
    carried = 0;
    rest = Rest::Dropped;
  } else {
    std::memcpy(carry + carried, taken.data(), taken.size());
    carried += taken.size();
    if (zero != std::string_view::npos) rest = Rest::Cut;
  }
  carry[carried] = '\0';
}

void CommandLines::endLine() {
  if (carried > 0) {
    const std::size_t bytes = carried + sizeof(std::string);
    if (heldBytes + bytes <= kMostHeldBytes) {
      lines.emplace_back(carry, carried);
    } else if (heldBytes <= kMostHeldBytes) {
      error_output(1, "readPipeByLine", __LINE__, "Output over %zu bytes, the rest is dropped",
                   kMostHeldBytes);
    }
    heldBytes += bytes;
  }
  carried = 0;
  carry[0] = '\0';
  rest = Rest::Taken;
}

}  // namespace LedgoraCollect
