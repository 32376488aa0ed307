#include "collect/python/MetadataLine.h"

#include "common/StringUtils.h"

namespace LedgoraCollect {

namespace {

bool beginsWithKey(std::string_view line, std::string_view key) {
  std::string begin(line.substr(0, key.size()));
  StringUtils::lower(begin);
  return begin == key;
}

}  // namespace

bool metadataValue(std::string_view line, std::string& value) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos || colon + 1 == line.size()) return false;
  // Consumers know values cut like this; files of packages have a blank there.
  value = StringUtils::trim(std::string(line.substr(colon + 2)), " \r\n\t");
  return true;
}

MetadataLine takeMetadataLine(std::string_view line, PythonMetadata_S& metadata) {
  std::string* value = nullptr;
  if (metadata.name.empty() && beginsWithKey(line, "name:")) value = &metadata.name;
  if (metadata.version.empty() && beginsWithKey(line, "version:")) value = &metadata.version;
  if (value == nullptr) return MetadataLine::Nothing;
  return metadataValue(line, *value) ? MetadataLine::Taken : MetadataLine::WithoutValue;
}

bool isPythonItself(const std::string& name) {
  std::string lowered = name;
  StringUtils::lower(lowered);
  return lowered == "python";
}

}  // namespace LedgoraCollect
