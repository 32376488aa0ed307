#pragma once

#include <string>
#include <string_view>

namespace LedgoraCollect {

/// What the head of a package's metadata file says.
struct PythonMetadata_S {
  std::string name;
  std::string version;
};

enum class MetadataLine { Nothing, Taken, WithoutValue };

/// The value of "Key: value": what stands from the second character behind the
/// first ":" on, without blanks around it, so that "Key:value" loses its "v".
/// Returns false if nothing stands behind a ":".
bool metadataValue(std::string_view line, std::string& value);

/// Takes a line "Name: ..." or "Version: ..." (any case) of which no value is
/// known yet.
MetadataLine takeMetadataLine(std::string_view line, PythonMetadata_S& metadata);

/// True for the interpreter's own entry, which is no package.
bool isPythonItself(const std::string& name);

}  // namespace LedgoraCollect
