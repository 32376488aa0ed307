#include "common/support/Utf8.h"

namespace LedgoraCollect {
namespace {

/// What may follow a lead byte: the number of continuation bytes and the
/// range of the first of them, which rules out overlong forms, surrogates and
/// code points beyond the last.
struct LeadByte {
  unsigned char first;
  unsigned char last;
  unsigned char continuations;
  unsigned char secondLow;
  unsigned char secondHigh;
};

constexpr LeadByte kLeadBytes[] = {
    {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF}, {0xE1, 0xEC, 2, 0x80, 0xBF},
    {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF}, {0xF0, 0xF0, 3, 0x90, 0xBF},
    {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};

bool within(unsigned char byte, unsigned char low, unsigned char high) {
  return byte >= low && byte <= high;
}

std::size_t lengthAfterLead(const LeadByte& lead, std::string_view text) {
  if (text.size() <= lead.continuations) return 0;
  if (!within(static_cast<unsigned char>(text[1]), lead.secondLow, lead.secondHigh)) return 0;
  for (std::size_t i = 2; i <= lead.continuations; ++i) {
    if (!within(static_cast<unsigned char>(text[i]), 0x80, 0xBF)) return 0;
  }
  return std::size_t{1} + lead.continuations;
}

}  // namespace

std::size_t utf8SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const auto byte = static_cast<unsigned char>(text[0]);
  if (byte < 0x80) return 1;
  for (const LeadByte& lead : kLeadBytes) {
    if (within(byte, lead.first, lead.last)) return lengthAfterLead(lead, text);
  }
  return 0;
}

}  // namespace LedgoraCollect
