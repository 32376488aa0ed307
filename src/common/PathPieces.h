#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

/// The names between the slashes of a path, as they stand: blanks belong to a name. Empty
/// pieces are left out.
std::vector<std::string> pathPieces(const std::string& path);

/// Each piece with a slash in front; empty for no piece.
std::string joinPieces(const std::vector<std::string>& pieces);

}  // namespace LedgoraCollect
