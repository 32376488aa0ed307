#include "common/support/CommandEnvironment.h"

#include <algorithm>

namespace LedgoraCollect {

namespace {

/// What a command in a root may see of the tool's own variables.
constexpr std::string_view kOwnVariables[] = {"LEDGORA_START_TIME", "LANG"};

bool passesThrough(std::string_view name, CommandVariables variables) {
  if (variables == CommandVariables::Inherited) return true;
  return std::find(std::begin(kOwnVariables), std::end(kOwnVariables), name) !=
         std::end(kOwnVariables);
}

}  // namespace

bool parseAssignment(std::string_view text, std::string& name, std::string& value) {
  if (!text.empty() && text.back() == ';') text.remove_suffix(1);
  const std::size_t equals = text.find('=');
  if (equals == 0 || equals == std::string_view::npos) return false;
  name = text.substr(0, equals);
  value = text.substr(equals + 1);
  return true;
}

std::vector<std::string> commandEnvironment(const char* const* inherited,
                                            std::string_view assignment,
                                            CommandVariables variables) {
  std::string name;
  std::string value;
  const bool assigned = parseAssignment(assignment, name, value);
  std::vector<std::string> result;
  for (; inherited != nullptr && *inherited != nullptr; ++inherited) {
    const std::string_view entry(*inherited);
    const std::string_view entryName = entry.substr(0, entry.find('='));
    if (assigned && entryName == name) continue;
    if (passesThrough(entryName, variables)) result.emplace_back(entry);
  }
  if (assigned) result.push_back(name + "=" + value);
  return result;
}

}  // namespace LedgoraCollect
