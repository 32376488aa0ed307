// Lines of crontabs. What is cut out of a line must be what the expressions
// give that define it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "collect/schedule/CronLine.h"
#include "common/RegexUtils.h"

namespace {

constexpr char kWithUser[] =
    "([^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+)[\\s]+([^\\s]+)[\\s]+(.*)";
constexpr char kNoUser[] =
    "([^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+[\\s]+[^\\s]+)[\\s]+(.*)";

void compare(std::string line, bool withUser) {
  using namespace LedgoraCollect;
  CronFields_S fields;
  std::vector<std::string> cut;
  if (cutCronLine(line, withUser, fields)) {
    cut.emplace_back(fields.time);
    if (withUser) cut.emplace_back(fields.user);
    cut.emplace_back(fields.command);
  }
  std::vector<std::string> matched;
  regexInterfaceGetAll(line, matched, withUser ? kWithUser : kNoUser);
  if (matched.size() == (withUser ? 4U : 3U)) {
    matched.erase(matched.begin());
  } else {
    matched.clear();
  }
  if (cut != matched) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Longer lines exceed the limits of the expressions, not those of the cutting.
  if (size > 300) return 0;
  std::string line(reinterpret_cast<const char*>(data), size);
  line.resize(line.find('\n') == std::string::npos ? size : line.find('\n'));
  line = LedgoraCollect::withoutCronComment(line);
  compare(line, false);
  compare(line, true);
  LedgoraCollect::isCronTime(line);
  return 0;
}
