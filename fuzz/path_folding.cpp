// What must hold of folding, joining and stripping for any text. The input's first line is the
// prefix, the rest is the path.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/PathPieces.h"
#include "common/PathUtils.h"
#include "common/StringUtils.h"

using LedgoraCollect::PathUtils;

namespace {

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

bool holds(const std::string& text, const char* what) {
  return text.find(what) != std::string::npos;
}

void checkSimple(const std::string& path) {
  const std::string simple = PathUtils::getSimplePath(path);
  require(!holds(simple, "//"), "no doubled slash");
  require(PathUtils::getSimplePath(simple) == simple, "folding twice changes nothing");
  int depth = 0;
  for (const std::string& piece : LedgoraCollect::pathPieces(path)) {
    if (piece == "..") {
      depth -= depth > 0 ? 1 : 0;
    } else if (piece != ".") {
      ++depth;
    }
  }
  const auto pieces = LedgoraCollect::pathPieces(simple);
  if (depth == 0) return;  // nothing kept: the text stays
  require(pieces.size() == static_cast<std::size_t>(depth), "number of pieces");
  require(simple.front() == '/' && simple.back() != '/', "form");
  for (const std::string& piece : pieces) require(piece != "." && piece != "..", "no dots");
}

void checkPrefix(const std::string& prefix, const std::string& path) {
  const std::string added = PathUtils::addPrefixPath(prefix, path);
  const std::string clean = LedgoraCollect::StringUtils::replaceAllStr(path, "//", "/");
  require(!holds(added, "//"), "one slash at the seam");
  if (!prefix.empty()) {
    require(added.empty() || PathUtils::findPrefixPath(added, prefix), "prefix is in front");
  }
  if (prefix.empty() || path.empty()) return;
  const std::string dropped = PathUtils::dropPrefixPath(prefix, added);
  require(dropped == (clean.front() == '/' ? clean : "/" + clean), "what was added is dropped");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t feed = input.find('\n');
  if (feed == std::string::npos) return 0;
  checkSimple(input.substr(feed + 1));
  checkPrefix(input.substr(0, feed), input.substr(feed + 1));
  return 0;
}
