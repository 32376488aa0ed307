#pragma once

#include <string>
#include <string_view>

namespace LedgoraCollect {

/// The prefix that a line of an npm configuration file sets.
struct NpmPrefix_S {
  std::string path;
  bool hasComment = false;  // a "#" stands behind or in the path
};

/// Reads "prefix = PATH". A comment begins at a "#" and is dropped; "\#" is a
/// "#" of the path. Returns false for any other line and for an empty prefix.
bool parsePrefixLine(std::string_view line, NpmPrefix_S& prefix);

}  // namespace LedgoraCollect
