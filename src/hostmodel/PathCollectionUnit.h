#pragma once

#include <string>

#include "hostmodel/CollectionBase.h"

namespace LedgoraCollect {

/// Path questions to the inspected root.
class PathCollectionUnit : public CollectionBase {
 public:
  /// Whether `path`, named as the inspected system names it, is there. The
  /// root is put in front without looking whether it is there already.
  bool isExist(const std::string& path) const;
  /// As isExist, but a path that begins with the root isn't prefixed again.
  bool isExistDirect(const std::string& path) const;
  /// Looks `command` up in the directories of the tool's default PATH, inside
  /// the root. On a hit `out` gets the path without any prefix; otherwise it
  /// stays as it was and the result is false.
  bool findCmdPath(const std::string& command, std::string& out) const;
};

}  // namespace LedgoraCollect
