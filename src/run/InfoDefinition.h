#pragma once

#include <cjson/cJSON.h>

namespace LedgoraCollect {

/// A record that writes itself into a document.
class InfoDefinition {
 public:
  InfoDefinition() = default;
  InfoDefinition(const InfoDefinition&) = default;
  InfoDefinition& operator=(const InfoDefinition&) = default;
  virtual ~InfoDefinition() = default;

  /// Adds the record's members to `root`. 0, or -1 for a null root.
  virtual int dataToJson(cJSON* root) = 0;
};

}  // namespace LedgoraCollect
