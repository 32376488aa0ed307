#include "collect/npm/NpmConfigLine.h"

#include <vector>

#include "common/RegexUtils.h"
#include "common/StringUtils.h"

namespace LedgoraCollect {

namespace {

constexpr char kPrefixExpression[] = "^[ ]*prefix[ ]*=\\s*(.*)";
constexpr char kBlanks[] = " \r\n\t";

/// The path in front of the comment, of the pieces between "#".
std::string withoutComment(const std::vector<std::string>& pieces) {
  std::string path;
  for (const std::string& piece : pieces) {
    path += piece;
    if (path.empty() || piece.empty() || path.back() != '\\') break;
    path.back() = '#';
  }
  return StringUtils::trim(path, kBlanks);
}

}  // namespace

bool parsePrefixLine(std::string_view line, NpmPrefix_S& prefix) {
  std::string text(line);
  std::vector<std::string> found;  // the whole match, and the value unless it is empty
  regexInterfaceGetAll(text, found, kPrefixExpression);
  if (found.size() < 2) return false;
  const std::string value = StringUtils::trim(found[1], kBlanks);
  const std::vector<std::string> pieces = StringUtils::split(value, "#", false);
  // A single piece leaves the value as it stands, so that a "#" at the very
  // end, behind which there is no comment, belongs to the path.
  prefix.hasComment = pieces.size() > 1;
  prefix.path = prefix.hasComment ? withoutComment(pieces) : value;
  return !prefix.path.empty();
}

}  // namespace LedgoraCollect
