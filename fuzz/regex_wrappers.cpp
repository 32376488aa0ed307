// regexInterfaceGetAll against a slow search written from its description: compiled anew,
// one call of the engine for each start, no windows, no cache. The input's first line is the
// expression, the rest is the text.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/RegexUtils.h"

namespace {

constexpr std::uint32_t kSteps = 20000;

// False if the engine gave up, so that there is nothing to compare.
bool slowSearch(const std::string& text, const std::string& expression,
                std::vector<std::string>& results, bool& compiled) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(expression.c_str()),
                                   PCRE2_ZERO_TERMINATED, 0, &error, &offset, nullptr);
  compiled = code != nullptr;
  if (!compiled) return true;
  pcre2_match_data* data = pcre2_match_data_create_from_pattern(code, nullptr);
  pcre2_match_context* context = pcre2_match_context_create(nullptr);
  pcre2_set_match_limit(context, kSteps);
  pcre2_set_heap_limit(context, 32 * 1024);
  int rc = 0;
  for (int start = 0; start <= static_cast<int>(text.size());) {
    rc = pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(),
                     static_cast<PCRE2_SIZE>(start), 0, data, context);
    if (rc <= 0) break;
    int furthest = start;
    for (int i = 0; i < rc; ++i) {
      const int begin = static_cast<int>(pcre2_get_ovector_pointer(data)[2 * i]);
      const int end = static_cast<int>(pcre2_get_ovector_pointer(data)[2 * i + 1]);
      if (begin < 0 || end < 0 || end - begin <= 0 || end > static_cast<int>(text.size())) continue;
      results.push_back(
          text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
      if (end > furthest) furthest = end;
    }
    start = furthest > start ? furthest : start + 1;
  }
  pcre2_match_context_free(context);
  pcre2_match_data_free(data);
  pcre2_code_free(code);
  return rc >= 0 || rc == PCRE2_ERROR_NOMATCH;
}

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t feed = input.find('\n');
  if (feed == std::string::npos) return 0;
  const std::string expression = input.substr(0, feed);
  std::string text = input.substr(feed + 1);
  std::vector<std::string> slow, fast;
  bool compiled = false;
  if (text.empty() || expression.empty() || !slowSearch(text, expression, slow, compiled)) return 0;
  const bool ran = LedgoraCollect::regexInterfaceGetAll(text, fast, expression);
  require(ran == compiled, "ran");
  require(fast == slow, "values");
  std::string one;
  require(LedgoraCollect::regex_interface(text, one, expression) == !slow.empty(), "one found");
  require(one == (slow.empty() ? "" : slow[slow.size() > 1 ? 1 : 0]), "one");
  return 0;
}
