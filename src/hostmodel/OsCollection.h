#pragma once

#include <string>

#include "hostmodel/Collection.h"

namespace LedgoraCollect {

/// What is told of the operating system.
struct OsCacheUnit {
  std::string hostType;  // "server", "pc", or empty when nothing could be told
  std::string osName;    // normalised name, set by the caller before collect()
};

/// Server or desktop: decided by the name of the operating system where that
/// is enough, otherwise by the release file that is telling for its family.
class OsCollection : public Collection {
 public:
  const OsCacheUnit& getOsCacheUnit() const { return mOsCacheUnit; }
  void setOsCacheUnit(const OsCacheUnit& unit) { mOsCacheUnit = unit; }

  /// Fills hostType from osName. True when a decision was reached; false when
  /// no file could decide, and hostType stays as it was.
  bool collect() override;

 private:
  bool collectByFile(const std::string& osName);

  OsCacheUnit mOsCacheUnit;
};

}  // namespace LedgoraCollect
