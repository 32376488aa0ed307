#include "common/RegexUtils.h"

#include <algorithm>
#include <limits>

#include "common/Expression.h"

namespace LedgoraCollect {

namespace {

// What the results of one search may take; a text of single characters would otherwise grow
// to thirty times its size.
constexpr std::size_t kResultBytes = std::size_t{64} << 20;
constexpr std::size_t kAllResults = std::numeric_limits<std::size_t>::max();

// Appends the non-empty pairs of one match. Returns where the furthest of them ends, or
// `furthest` if none ends behind it.
std::size_t appendPairs(const std::string& text, const PCRE2_SIZE* pairs, int count,
                        std::size_t furthest, std::vector<std::string>& results) {
  for (int i = 0; i < count; ++i) {
    const PCRE2_SIZE begin = pairs[2 * i];
    const PCRE2_SIZE end = pairs[2 * i + 1];
    // Also passes over unset groups (both at the largest value) and a match whose start was
    // moved behind its end.
    if (begin >= end || end > text.size()) continue;
    results.emplace_back(text, begin, end - begin);
    furthest = std::max(furthest, static_cast<std::size_t>(end));
  }
  return furthest;
}

std::size_t heldBytes(const std::vector<std::string>& results, std::size_t first) {
  std::size_t bytes = 0;
  for (std::size_t i = first; i < results.size(); ++i) {
    bytes += sizeof(std::string) + results[i].size();
  }
  return bytes;
}

bool appendMatches(const std::string& text, const std::string& expression,
                   std::vector<std::string>& results, std::size_t enough) {
  if (text.empty() || expression.empty()) return false;
  const Expression* compiled = Expression::compiled(expression);
  if (compiled == nullptr) return false;
  ExpressionSearch search(*compiled, text);
  std::size_t bytes = 0;
  // An empty match ends where it begins, so the next search starts one byte on.
  for (std::size_t start = 0; start <= text.size() && bytes <= kResultBytes;) {
    const int count = search.next(start);
    if (count <= 0) break;
    const std::size_t before = results.size();
    const std::size_t furthest = appendPairs(text, search.pairs(), count, start, results);
    start = furthest > start ? furthest : start + 1;
    bytes += heldBytes(results, before);
    if (results.size() >= enough) break;
  }
  return true;
}

}  // namespace

bool regex_match(std::string& text, const std::string& expression) {
  const Expression* compiled = Expression::compiled(expression);
  return compiled != nullptr && ExpressionSearch(*compiled, text).next(0) > 0;
}

bool regexInterfaceGetAll(std::string& text, std::vector<std::string>& results,
                          const std::string& expression) {
  return appendMatches(text, expression, results, kAllResults);
}

bool regex_interface(std::string& text, std::string& result, const std::string& expression) {
  std::vector<std::string> values;
  // Nothing behind the second value is looked at.
  appendMatches(text, expression, values, 2);
  if (values.empty()) return false;
  result = values.size() > 1 ? values[1] : values[0];
  return true;
}

}  // namespace LedgoraCollect
