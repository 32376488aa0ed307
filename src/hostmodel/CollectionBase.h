#pragma once

#include <string>

namespace LedgoraCollect {

/// The two strings that say of which root a question is asked: `environment`
/// is the directory under which the inspected machine is mounted (empty: the
/// machine itself), `target` is a container's root as that machine names it
/// ("/proc/%d/root"; empty: none). A path's full prefix is the first joined
/// with the second.
class CollectionBase {
 public:
  const std::string& getMEnvironment() const { return environment; }
  void setEnvironment(const std::string& value) { environment = value; }
  const std::string& getMTarget() const { return target; }
  void setTarget(const std::string& value) { target = value; }

  /// `path` with `prefix` in front and its links followed inside `prefix`.
  /// With an empty prefix, or when `path` begins with it already, `path`.
  static std::string addEnvPath(const std::string& prefix, const std::string& path);
  /// The way back: `path` as the inspected system names it.
  static std::string dropEnvPath(const std::string& prefix, const std::string& path);
  /// addEnvPath with environment and target joined as the prefix.
  std::string addBasePath(const std::string& path) const;

 protected:
  /// Environment and target, cleaned and joined.
  std::string basePath() const;

  std::string environment;
  std::string target;
};

}  // namespace LedgoraCollect
