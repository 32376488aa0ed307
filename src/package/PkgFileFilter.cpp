#include "package/PkgFileFilter.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace LedgoraCollect {
namespace {

constexpr std::string_view kLeftOutDirectories[] = {"/usr/share/", "/usr/lib/locale"};
constexpr std::string_view kLeftOutEndings[] = {"txt", "h",    "gz",  "py",   "js", "html",
                                                "htm", "conf", "hpp", "pm",   "o",  "a",
                                                "pc",  "bc",   "pl",  "tmpl", "ph"};

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

}  // namespace

bool pkgFileFilter(const std::string& /*target*/, const std::string& /*environment*/,
                   const std::string& path) {
  const std::string_view text = path;
  if (text.empty() || text.back() == '.' || text.back() == '/') return true;
  // Desktop entries lie below /usr/share/ and are wanted all the same.
  if (text.find(".desktop") != std::string_view::npos) return false;
  for (const std::string_view directory : kLeftOutDirectories) {
    if (startsWith(text, directory)) return true;
  }
  const std::string_view name = text.substr(text.rfind('/') + 1);
  if (name.find(".so") != std::string_view::npos) return true;
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return false;
  const std::string_view ending = name.substr(dot + 1);
  return std::find(std::begin(kLeftOutEndings), std::end(kLeftOutEndings), ending) !=
         std::end(kLeftOutEndings);
}

}  // namespace LedgoraCollect
