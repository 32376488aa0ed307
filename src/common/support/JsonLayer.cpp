#include "common/support/JsonLayer.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common/support/Handles.h"
#include "common/support/Utf8.h"

namespace LedgoraCollect {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

/// Calls `visit(piece, valid)` for each longest valid stretch and each byte
/// that belongs to no sequence.
template <class Visitor>
void visitUtf8(std::string_view text, Visitor visit) {
  while (!text.empty()) {
    std::size_t valid = 0;
    while (const std::size_t step = utf8SequenceLength(text.substr(valid))) valid += step;
    if (valid > 0) visit(text.substr(0, valid), true);
    if (valid < text.size()) visit(text.substr(valid, 1), false);
    text.remove_prefix(valid < text.size() ? valid + 1 : valid);
  }
}

/// `printed` with U+FFFD for each stray byte; the same text when there is
/// none. Null if there is no memory. Quotes and escapes are ASCII, so that
/// mending the printed text equals mending each string.
MallocText mendUtf8(MallocText printed) {
  const std::string_view text(printed.get());
  std::size_t stray = 0;
  visitUtf8(text, [&stray](std::string_view, bool valid) { stray += valid ? 0 : 1; });
  if (stray == 0) return printed;
  const std::size_t size = text.size() + stray * (kReplacement.size() - 1) + 1;
  MallocText mended(static_cast<char*>(std::malloc(size)));
  if (!mended) return mended;
  char* end = mended.get();
  visitUtf8(text, [&end](std::string_view piece, bool valid) {
    const std::string_view written = valid ? piece : kReplacement;
    std::memcpy(end, written.data(), written.size());
    end += written.size();
  });
  *end = '\0';
  return mended;
}

}  // namespace

cJSON* cJSON_CreateString2(const char* value, const void*) { return cJSON_CreateString(value); }

cJSON* cJSON_CreateNumber2(const void*, double value) { return cJSON_CreateNumber(value); }

cJSON* cJSON_CreateBool2(int value, const void*) { return cJSON_CreateBool(value); }

char* printJsonDocument(const cJSON* document) {
  MallocText printed(cJSON_PrintUnformatted(document));
  if (!printed) return nullptr;
  return mendUtf8(std::move(printed)).release();
}

}  // namespace LedgoraCollect
