#include "common/Expression.h"

#include <time.h>

#include <algorithm>
#include <cstdint>
#include <unordered_map>

namespace LedgoraCollect {

namespace {

// Rule files hold a few hundred expressions; beyond this the cache starts again.
constexpr std::size_t kCachedExpressions = 1024;

// Beginnings in a window times steps per beginning is constant, so that one call of the engine
// is bounded (a quarter of a second at most). Ordinary expressions take few steps at each
// beginning and run with the widest window, which also keeps the engine's own look-ahead for
// rare characters from being repeated too often. One that needs more steps gets narrower ones.
constexpr std::size_t kSteps = std::size_t{1} << 24;
constexpr std::size_t kWidestWindow = 65536;
constexpr std::size_t kNarrowestWindow = 4;

constexpr std::uint32_t kHeapKib = 64 * 1024;
// Of processor time, for all matches of one expression in one text. A whole 20 MiB file takes
// an ordinary expression a tenth of it.
constexpr double kSearchSeconds = 0.5;

double processorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::unique_ptr<Expression> compile(const std::string& text) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  // The one option changes nothing but that windows may be set.
  ExpressionCode code(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(text.c_str()),
                                    PCRE2_ZERO_TERMINATED, PCRE2_USE_OFFSET_LIMIT, &error, &offset,
                                    nullptr));
  return code ? std::make_unique<Expression>(std::move(code)) : nullptr;
}

}  // namespace

Expression::Expression(ExpressionCode code) : mCode(std::move(code)) {
  std::uint32_t options = 0;
  pcre2_pattern_info(mCode.get(), PCRE2_INFO_ALLOPTIONS, &options);
  mUtf = (options & PCRE2_UTF) != 0;
}

const Expression* Expression::compiled(const std::string& expression) {
  static std::unordered_map<std::string, std::unique_ptr<Expression>> cache;
  const auto known = cache.find(expression);
  if (known != cache.end()) return known->second.get();
  if (cache.size() >= kCachedExpressions) cache.clear();
  return cache.emplace(expression, compile(expression)).first->second.get();
}

ExpressionSearch::ExpressionSearch(const Expression& expression, const std::string& text)
    : mExpression(expression),
      mText(text),
      mData(pcre2_match_data_create_from_pattern(expression.code(), nullptr)),
      mContext(pcre2_match_context_create(nullptr)),
      mWindow(kWidestWindow),
      mDeadlineSeconds(processorSeconds() + kSearchSeconds) {
  if (mContext) pcre2_set_heap_limit(mContext.get(), kHeapKib);
}

int ExpressionSearch::next(std::size_t start) {
  if (!mData || !mContext) return PCRE2_ERROR_NOMEMORY;
  for (;;) {
    if (timeIsUp()) return PCRE2_ERROR_MATCHLIMIT;
    const int found = matchWindow(start);
    if (found == PCRE2_ERROR_MATCHLIMIT) {
      if (!narrow(start)) return found;
      continue;
    }
    if (found != PCRE2_ERROR_NOMATCH || start + mWindow > mText.size()) return found;
    start += mWindow;
    while (mExpression.isUtf() && start < mText.size() && (mText[start] & 0xC0) == 0x80) ++start;
    widen();
  }
}

int ExpressionSearch::matchWindow(std::size_t start) {
  const std::size_t beginnings = std::min(mWindow, mText.size() - start + 1);
  pcre2_set_match_limit(mContext.get(), static_cast<std::uint32_t>(kSteps / beginnings));
  pcre2_set_offset_limit(mContext.get(), start + beginnings - 1);
  return pcre2_match(mExpression.code(), reinterpret_cast<PCRE2_SPTR>(mText.data()), mText.size(),
                     start, 0, mData.get(), mContext.get());
}

bool ExpressionSearch::narrow(std::size_t start) {
  const std::size_t beginnings = std::min(mWindow, mText.size() - start + 1);
  if (beginnings <= kNarrowestWindow) return false;
  mWindow = std::max(beginnings / 4, kNarrowestWindow);
  return true;
}

void ExpressionSearch::widen() { mWindow = std::min(mWindow * 2, kWidestWindow); }

bool ExpressionSearch::timeIsUp() const { return processorSeconds() > mDeadlineSeconds; }

}  // namespace LedgoraCollect
