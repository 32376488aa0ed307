#include "common/StringUtils.h"

#include <strings.h>

#include <algorithm>

#include "common/support/Md5.h"

namespace LedgoraCollect {

namespace {

constexpr const char* kBlanks = " \r\n\t";

// Text behind the scanning position, kept backwards, so that taking and putting back at its
// front costs nothing and a replacement in a long text doesn't move the rest each time.
class PendingText {
 public:
  explicit PendingText(const std::string& text) : mReversed(text.rbegin(), text.rend()) {}

  bool empty() const { return mReversed.empty(); }
  char take() {
    const char first = mReversed.back();
    mReversed.pop_back();
    return first;
  }
  bool startsWith(const std::string& what) const {
    return what.size() <= mReversed.size() &&
           std::equal(what.begin(), what.end(), mReversed.rbegin());
  }
  void drop(std::size_t count) { mReversed.resize(mReversed.size() - count); }
  void putBack(const std::string& what) { mReversed.append(what.rbegin(), what.rend()); }

 private:
  std::string mReversed;
};

}  // namespace

std::string StringUtils::replaceAllStr(const std::string& text, const std::string& from,
                                       const std::string& to) {
  if (text.empty() || from.empty() || text.find(from) == std::string::npos) return text;
  // Scanning the new text again would never end here.
  const bool rescan = to.find(from) == std::string::npos;
  std::string result;
  PendingText pending(text);
  while (!pending.empty()) {
    if (!pending.startsWith(from)) {
      result += pending.take();
      continue;
    }
    pending.drop(from.size());
    if (rescan) {
      pending.putBack(to);
    } else {
      result += to;
    }
  }
  return result;
}

std::string StringUtils::trim(const std::string& text, const std::string& characters) {
  const std::size_t first = text.find_first_not_of(characters);
  if (first == std::string::npos) return "";
  const std::size_t last = text.find_last_not_of(characters);
  return text.substr(first, last - first + 1);
}

std::vector<std::string> StringUtils::split(const std::string& text, const std::string& separator,
                                            const bool& dropEmpty) {
  std::vector<std::string> pieces;
  if (text.empty()) return pieces;
  if (separator.empty()) return {text};
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t end = std::min(text.find(separator, position), text.size());
    std::string piece = trim(text.substr(position, end - position), kBlanks);
    if (!dropEmpty || !piece.empty()) pieces.push_back(std::move(piece));
    position = end + separator.size();
  }
  return pieces;
}

void StringUtils::lower(std::string& text) {
  for (char& byte : text) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
  }
}

bool StringUtils::findInString(std::vector<std::string>& needles, const std::string& text) {
  if (text.empty()) return false;
  return std::any_of(needles.begin(), needles.end(), [&text](const std::string& needle) {
    return text.find(needle) != std::string::npos;
  });
}

bool StringUtils::noCaseEqualInStrings(std::vector<std::string>& list, const std::string& text) {
  if (text.empty()) return false;
  return std::any_of(list.begin(), list.end(), [&text](const std::string& element) {
    return strcasecmp(element.c_str(), text.c_str()) == 0;
  });
}

bool StringUtils::isIllegalString(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char byte) { return byte < ' ' || byte > '~'; });
}

std::string StringUtils::getMd5Str(std::string& text) {
  if (text.empty()) return "";
  constexpr char kDigits[] = "0123456789abcdef";
  unsigned char digest[kMd5DigestBytes] = {};
  tess_md5_context context;
  tess_md5_init(&context);
  tess_md5_update(&context, text.data(), std::min(text.find('\0'), text.size()));
  tess_md5_final(&context, digest);
  std::string result;
  for (const unsigned char byte : digest) {
    result += kDigits[byte >> 4];
    result += kDigits[byte & 15];
  }
  return result;
}

}  // namespace LedgoraCollect
