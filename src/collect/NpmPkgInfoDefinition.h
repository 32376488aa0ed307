#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "run/InfoDefinition.h"

namespace LedgoraCollect {

/// One npm package of the document.
struct NPM_PKG_INFO_S {
  std::string name;
  std::string version;
  std::string path;  // as the inspected system knows it
  std::string scope;
  std::string pid;
  std::string operationCommand;  // "name:command" of each script, joined by ","
};

/// The npm packages found, and how they are written.
class NpmPkgInfoDefinition : public InfoDefinition {
 public:
  /// What a package.json says.
  struct PKG_JSON {
    std::string name;
    std::string version;
    std::map<std::string, std::string> scripts;
  };

  /// Reads a package.json. False, with a message, if it can't be read or lacks
  /// its name or version.
  static bool readPkgJson(const std::string& path, PKG_JSON& package);
  /// Takes what a parsed package.json says; members of another type count as
  /// missing. Returns false if there is no object of scripts.
  static bool parsePkgJson(const cJSON* document, PKG_JSON& package);

  void addPkgInfo(const std::string& name, const std::string& version, const std::string& path,
                  const std::string& scope, const std::string& pid, const std::string& command);
  std::size_t getPkgInfoSize() const { return mPackages.size(); }
  int dataToJson(cJSON* root) override;

 private:
  std::vector<NPM_PKG_INFO_S> mPackages;
};

}  // namespace LedgoraCollect
