#pragma once

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <bitset>
#include <cstddef>
#include <memory>
#include <string>

#include "common/support/Handles.h"

namespace LedgoraCollect {

using ExpressionCode = std::unique_ptr<pcre2_code, Releaser<pcre2_code_free_8>>;
using MatchData = std::unique_ptr<pcre2_match_data, Releaser<pcre2_match_data_free_8>>;
using MatchContext = std::unique_ptr<pcre2_match_context, Releaser<pcre2_match_context_free_8>>;

/// A compiled expression. Kept for the run, since rules apply the same few thousand
/// expressions to every process.
class Expression {
 public:
  /// The compiled form of the text up to its first zero byte, or null if it doesn't compile.
  /// Valid until the next call.
  static const Expression* compiled(const std::string& expression);

  explicit Expression(ExpressionCode code);
  const pcre2_code* code() const { return mCode.get(); }
  /// True if the expression asks for UTF-8, so that matches can't begin inside a character.
  bool isUtf() const { return mUtf; }
  /// True if a match can only begin where the search does ("^" at the front, or "\G").
  bool isAnchored() const { return mAnchored; }
  /// The first position from `start` on at which a match may begin, as far as its first byte
  /// tells; the text's size if there is none.
  std::size_t nextBeginning(const std::string& text, std::size_t start) const;

 private:
  ExpressionCode mCode;
  bool mUtf = false;
  bool mAnchored = false;
  // One bit for each byte that may begin a match; null if nothing is known.
  std::unique_ptr<std::bitset<256>> mFirstBytes;
};

/// One expression over one text. The engine's own limit on its steps counts anew for each
/// position at which a match may begin, so it says little about a long text. The search hands
/// the engine a window of beginnings at a time and checks the time spent between windows.
class ExpressionSearch {
 public:
  /// Both must outlive the search.
  ExpressionSearch(const Expression& expression, const std::string& text);
  ~ExpressionSearch();
  ExpressionSearch(const ExpressionSearch&) = delete;
  ExpressionSearch& operator=(const ExpressionSearch&) = delete;

  /// Looks for the first match that begins at `start` or later; what stands before `start` is
  /// seen by anchors and look-behind. Returns the number of pairs set in `pairs`, the whole
  /// match first; 0 or less if there is no match or the limits are exceeded.
  int next(std::size_t start);
  const PCRE2_SIZE* pairs() const { return pcre2_get_ovector_pointer(mData.get()); }

 private:
  int matchWindow(std::size_t start);
  bool narrow(std::size_t start);
  void widen();
  bool timeIsUp();

  const Expression& mExpression;
  const std::string& mText;
  MatchData mData;
  std::size_t mWindow;
  bool mBegun = false;
  double mWallBegin = -1;
  double mProcessorBegin = -1;
};

}  // namespace LedgoraCollect
