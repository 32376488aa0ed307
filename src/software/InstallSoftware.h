#pragma once

#include <string>
#include <vector>

#include "package/SoftwarePkgCacheUnit.h"
#include "software/RuleModel.h"
#include "software/SoftwareRecords.h"

namespace LedgoraCollect {

/// Software as the installed packages tell it, named through the package rules.
/// Singleton.
class InstallSoftware {
 public:
  static InstallSoftware* getInstance();

  void setMEnv(const std::string& env) { m_env = env; }
  const std::string& getMEnv() const { return m_env; }

  /// Appends one software for each installed package of the run's root.
  /// Always true; without an answer of the package cache nothing is appended.
  bool getAllInstallSoftware(std::vector<SOFTWARE_EX_S>& out);
  void mergeInstalledSoftwareList(std::vector<INSTALL_SOFTWARE_CONFIG_S>& rules,
                                  std::vector<SoftwarePkgCacheUnit>& all,
                                  std::vector<SoftwarePkgCacheUnit>& desktop,
                                  std::vector<SOFTWARE_EX_S>& out);
  /// The first rule that lists a package of that name and type ("rpm",
  /// "dpkg"); null if there is none.
  INSTALL_SOFTWARE_CONFIG_S* getPkgConf(std::vector<INSTALL_SOFTWARE_CONFIG_S>& rules,
                                        const std::string& name, const std::string& type);

 private:
  InstallSoftware() = default;
  void describe(const SoftwarePkgCacheUnit& package, INSTALL_SOFTWARE_CONFIG_S* rule,
                SOFTWARE_EX_S& soft);

  std::string m_env;
};

/// The first of the paths that exists in the root `env`; empty if none does.
std::string getOneExistFile(const std::string& env, const std::vector<std::string>& paths);

}  // namespace LedgoraCollect
