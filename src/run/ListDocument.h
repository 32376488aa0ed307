#pragma once

#include "common/support/Handles.h"

namespace LedgoraCollect {

/// The document of a list: the one key "list" with an array of objects, which is there also
/// when it is empty. The array joins the document last, so that a failure leaves it clean.
class ListDocument {
 public:
  /// `function` is named in the log.
  explicit ListDocument(const char* function);
  /// False if the array couldn't be made, which is logged.
  explicit operator bool() const { return static_cast<bool>(mArray); }
  /// A new object at the list's end, owned by the list. Null, with a message, without memory:
  /// the list then ends here and is no failure.
  cJSON* append();
  /// Puts the list into `root`: 0.
  int addTo(cJSON* root);

 private:
  const char* mFunction;
  JsonHandle mArray;
};

}  // namespace LedgoraCollect
