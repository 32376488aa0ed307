#include "common/PathPieces.h"

#include <algorithm>

namespace LedgoraCollect {

std::vector<std::string> pathPieces(const std::string& path) {
  std::vector<std::string> pieces;
  for (std::size_t begin = 0; begin < path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin) pieces.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return pieces;
}

std::string joinPieces(const std::vector<std::string>& pieces) {
  std::string result;
  for (const std::string& piece : pieces) result += "/" + piece;
  return result;
}

}  // namespace LedgoraCollect
