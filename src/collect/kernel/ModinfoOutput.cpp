#include "collect/kernel/ModinfoOutput.h"

#include <string_view>

#include "common/StringUtils.h"

namespace LedgoraCollect {

namespace {

constexpr char kBlanks[] = " \r\n\t";

struct ModinfoValues_S {
  std::string path;
  std::string dependencies;
  std::string version;
  std::string rhelVersion;
  std::string description;
};

/// Keywords of modinfo. But for "version:", which would be found in
/// "srcversion:" too, a keyword counts wherever it stands in its line, and the
/// value is what follows as many bytes from the line's start as the keyword
/// has. A description that mentions another keyword so yields an odd value for
/// that one; the document has always had it.
constexpr struct {
  std::string_view keyword;
  bool atStart;
  std::string ModinfoValues_S::*value;
} kKeywords[] = {
    {"filename:", false, &ModinfoValues_S::path},
    {"depends:", false, &ModinfoValues_S::dependencies},
    {"version:", true, &ModinfoValues_S::version},
    {"rhelversion:", false, &ModinfoValues_S::rhelVersion},
    {"description:", false, &ModinfoValues_S::description},
};
constexpr std::string_view kParameter = "parm:";

std::vector<std::string> splitNames(const std::string& names) {
  return StringUtils::split(names, ",", false);
}

bool holdsKeyword(const std::string& line, std::string_view keyword, bool atStart) {
  const std::size_t position = line.find(keyword);
  return atStart ? position == 0 : position != std::string::npos;
}

void takeLine(const std::string& line, ModinfoValues_S& values,
              std::vector<std::string>& parameters) {
  for (const auto& entry : kKeywords) {
    if (!holdsKeyword(line, entry.keyword, entry.atStart)) continue;
    values.*entry.value = line.substr(entry.keyword.size());
  }
  if (holdsKeyword(line, kParameter, false)) {
    parameters.push_back(StringUtils::trim(line.substr(kParameter.size()), kBlanks));
  }
}

}  // namespace

KERNEL_MODULE_INFO_S parseLsmodLine(const std::string& line) {
  KERNEL_MODULE_INFO_S module;
  const std::vector<std::string> words = StringUtils::split(line, " ", true);
  if (!words.empty()) module.name = words[0];
  if (words.size() > 1) module.size = words[1];
  if (words.size() > 3) module.holders = splitNames(StringUtils::trim(words[3], kBlanks));
  module.holderCount = static_cast<int>(module.holders.size());
  return module;
}

void parseModinfo(const std::vector<std::string>& lines, KERNEL_MODULE_INFO_S& module) {
  ModinfoValues_S values;
  module.parameters.clear();
  for (const std::string& line : lines) takeLine(line, values, module.parameters);
  module.path = StringUtils::trim(values.path, kBlanks);
  module.description = StringUtils::trim(values.description, kBlanks);
  const std::string version = StringUtils::trim(values.version, kBlanks);
  module.version = version.empty() ? StringUtils::trim(values.rhelVersion, kBlanks) : version;
  module.dependencies = splitNames(StringUtils::trim(values.dependencies, kBlanks));
  module.dependencyCount = static_cast<int>(module.dependencies.size());
}

}  // namespace LedgoraCollect
