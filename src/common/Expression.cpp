#include "common/Expression.h"

#include <time.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <unordered_map>

namespace LedgoraCollect {

namespace {

// Rule files hold a few thousand expressions; beyond this the cache starts again.
constexpr std::size_t kCachedExpressions = 8192;
// Match data has the engine's stack frames, which cost far more to make than a
// short match does; so the last one is kept, unless it is for many groups or a
// long text made it grow.
constexpr std::uint32_t kUsualPairs = 32;
constexpr std::size_t kUsualText = 65536;

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

double seconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Holds the limits; its step and offset limits are set before each call of the engine.
pcre2_match_context* sharedContext() {
  static const MatchContext context = [] {
    MatchContext made(pcre2_match_context_create(nullptr));
    if (made) pcre2_set_heap_limit(made.get(), kHeapKib);
    return made;
  }();
  return context.get();
}

// What the engine knows of the first byte of a match. Of a single byte it doesn't tell
// whether case counts, so both cases are taken.
std::unique_ptr<std::bitset<256>> firstBytes(const pcre2_code* code) {
  const std::uint8_t* bitmap = nullptr;
  std::uint32_t type = 0;
  std::uint32_t unit = 0;
  pcre2_pattern_info(code, PCRE2_INFO_FIRSTBITMAP, &bitmap);
  pcre2_pattern_info(code, PCRE2_INFO_FIRSTCODETYPE, &type);
  pcre2_pattern_info(code, PCRE2_INFO_FIRSTCODEUNIT, &unit);
  auto bytes = std::make_unique<std::bitset<256>>();
  if (type == 1 && unit < 0x80) {
    bytes->set(static_cast<std::size_t>(std::tolower(static_cast<int>(unit))));
    bytes->set(static_cast<std::size_t>(std::toupper(static_cast<int>(unit))));
    return bytes;
  }
  if (bitmap == nullptr) return nullptr;
  for (std::size_t i = 0; i < 256; ++i) bytes->set(i, (bitmap[i / 8] >> (i % 8) & 1) != 0);
  return bytes;
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

MatchData& spareMatchData() {
  static MatchData spare;
  return spare;
}

MatchData takeMatchData(const pcre2_code* code) {
  std::uint32_t groups = 0;
  pcre2_pattern_info(code, PCRE2_INFO_CAPTURECOUNT, &groups);
  if (groups >= kUsualPairs) return MatchData(pcre2_match_data_create_from_pattern(code, nullptr));
  if (spareMatchData()) return std::move(spareMatchData());
  return MatchData(pcre2_match_data_create(kUsualPairs, nullptr));
}

}  // namespace

Expression::Expression(ExpressionCode code) : mCode(std::move(code)) {
  std::uint32_t options = 0;
  pcre2_pattern_info(mCode.get(), PCRE2_INFO_ALLOPTIONS, &options);
  mUtf = (options & PCRE2_UTF) != 0;
  mAnchored = (options & PCRE2_ANCHORED) != 0;
  mFirstBytes = firstBytes(mCode.get());
}

std::size_t Expression::nextBeginning(const std::string& text, std::size_t start) const {
  if (!mFirstBytes) return start;
  while (start < text.size() && !mFirstBytes->test(static_cast<unsigned char>(text[start]))) {
    ++start;
  }
  return start;
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
      mData(takeMatchData(expression.code())),
      mWindow(kWidestWindow) {}

ExpressionSearch::~ExpressionSearch() {
  if (mData && mText.size() <= kUsualText && pcre2_get_ovector_count(mData.get()) == kUsualPairs) {
    spareMatchData() = std::move(mData);
  }
}

int ExpressionSearch::next(std::size_t start) {
  if (!mData || sharedContext() == nullptr) return PCRE2_ERROR_NOMEMORY;
  for (;;) {
    if (timeIsUp()) return PCRE2_ERROR_MATCHLIMIT;
    const int found = matchWindow(start);
    if (found == PCRE2_ERROR_MATCHLIMIT) {
      if (!narrow(start)) return found;
      continue;
    }
    if (found != PCRE2_ERROR_NOMATCH || start + mWindow > mText.size()) return found;
    // A second window would be a second beginning of the search, where "\G" holds again.
    if (mExpression.isAnchored()) return found;
    start += mWindow;
    while (mExpression.isUtf() && start < mText.size() && (mText[start] & 0xC0) == 0x80) ++start;
    // The engine has looked for the next beginning already, far beyond its window.
    start = mExpression.nextBeginning(mText, start);
    widen();
  }
}

int ExpressionSearch::matchWindow(std::size_t start) {
  const std::size_t beginnings = std::min(mWindow, mText.size() - start + 1);
  pcre2_set_match_limit(sharedContext(), static_cast<std::uint32_t>(kSteps / beginnings));
  pcre2_set_offset_limit(sharedContext(), start + beginnings - 1);
  return pcre2_match(mExpression.code(), reinterpret_cast<PCRE2_SPTR>(mText.data()), mText.size(),
                     start, 0, mData.get(), sharedContext());
}

bool ExpressionSearch::narrow(std::size_t start) {
  const std::size_t beginnings = std::min(mWindow, mText.size() - start + 1);
  if (beginnings <= kNarrowestWindow) return false;
  mWindow = std::max(beginnings / 4, kNarrowestWindow);
  return true;
}

void ExpressionSearch::widen() { mWindow = std::min(mWindow * 2, kWidestWindow); }

// Processor time counts, so that a busy machine or the run's own limit takes nothing away; it
// costs a system call, so it is asked only when the clock on the wall has gone on. The first
// call of the engine is bounded by its steps, and most searches need no other, so time counts
// from the second one on.
bool ExpressionSearch::timeIsUp() {
  constexpr double kGlanceSeconds = 0.02;
  if (!mBegun) {
    mBegun = true;
    return false;
  }
  const double wall = seconds(CLOCK_MONOTONIC);
  if (mWallBegin < 0) mWallBegin = wall;
  if (wall - mWallBegin < kGlanceSeconds) return false;
  const double now = seconds(CLOCK_THREAD_CPUTIME_ID);
  if (mProcessorBegin < 0) mProcessorBegin = now;
  return now - mProcessorBegin > kSearchSeconds;
}

}  // namespace LedgoraCollect
