#include <algorithm>

#include "common/StringUtils.h"
#include "package/RpmCmdCollectionUnit.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kFieldSeparator = "###";
constexpr const char* kRecordSeparator = "|##|";
constexpr std::size_t kFields = 5;

/// One line: line feeds become blanks, tabs go.
std::string oneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  text.erase(std::remove(text.begin(), text.end(), '\t'), text.end());
  return text;
}

}  // namespace

bool RpmCmdCollectionUnit::parseQFResult(const std::string& text, SoftwarePkgCacheUnit& unit) {
  // A package with an empty description ends in the separator, and so has four
  // fields only: it is passed over. Consumers have never seen such packages.
  const std::vector<std::string> fields = StringUtils::split(text, kFieldSeparator, false);
  if (fields.size() < kFields) return false;
  const std::string installTime = fields[2].empty() ? "" : fields[2] + "000";
  unit.setPackageName(fields[0]);
  unit.setPackageVersion(fields[1]);
  unit.setPackageInstallTime(installTime);
  unit.setPackageSize(fields[3]);
  unit.setPackageDescription(oneLine(fields[4]));
  unit.setPackageKey(fields[0] + fields[1] + installTime + fields[3]);
  unit.setPackageType("rpm");
  return true;
}

void RpmCmdCollectionUnit::parseQAResult(const std::string& text,
                                         std::vector<SoftwarePkgCacheUnit>& list) {
  for (const std::string& record : StringUtils::split(text, kRecordSeparator, false)) {
    SoftwarePkgCacheUnit unit;
    if (!parseQFResult(record, unit)) continue;
    if (unit.getPackageName().empty() && unit.getPackageVersion().empty()) continue;
    list.push_back(std::move(unit));
  }
}

void RpmCmdCollectionUnit::parseQLResult(const std::string& text, std::vector<std::string>& files,
                                         PackageFileFilter filter) const {
  std::vector<std::string> lines = StringUtils::split(text, "\n", false);
  if (filter == nullptr) {
    files = std::move(lines);
    return;
  }
  for (std::string& line : lines) {
    if (!filter(target, environment, line)) files.push_back(std::move(line));
  }
}

}  // namespace LedgoraCollect
