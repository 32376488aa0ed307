#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

/// Text operations on byte strings. None keeps state, none depends on the locale.
class StringUtils {
 public:
  /// Copy of `text` with every `from` replaced by `to`. The new text is scanned again
  /// from the place of the match, so replacing "//" by "/" in "////" gives "/". An empty
  /// `text` or `from` gives the copy. A `to` that holds `from` is put in once per match.
  static std::string replaceAllStr(const std::string& text, const std::string& from,
                                   const std::string& to);

  /// `text` without leading and trailing members of `characters`.
  static std::string trim(const std::string& text, const std::string& characters);

  /// The pieces of `text` between separators, each trimmed with " \r\n\t". A separator at
  /// the very end adds no empty piece; an empty `separator` gives `text` as it stands.
  static std::vector<std::string> split(const std::string& text, const std::string& separator,
                                        const bool& dropEmpty);

  /// Lower-cases the ASCII letters in place.
  static void lower(std::string& text);

  /// True if any needle occurs in `text`; an empty needle occurs in every non-empty text.
  static bool findInString(std::vector<std::string>& needles, const std::string& text);

  /// True if an element equals `text` without regard to case.
  static bool noCaseEqualInStrings(std::vector<std::string>& list, const std::string& text);

  /// True if any byte isn't printable ASCII; control characters and bytes above 127 are not.
  static bool isIllegalString(const std::string& text);

  /// MD5 of the bytes up to the first zero byte, as 32 lower-case hexadecimal digits.
  /// The empty string gives the empty string, not the MD5 of nothing.
  static std::string getMd5Str(std::string& text);
};

}  // namespace LedgoraCollect
