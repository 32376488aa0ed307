#include "software/InstallSoftware.h"

#include <algorithm>
#include <unordered_set>

#include "common/support/InstallPath.h"
#include "common/support/Log.h"
#include "hostmodel/PathCollectionUnit.h"
#include "package/SoftwarePkgCache.h"
#include "software/CollectRuleParser.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kPackageRules = "@/../config/rule/soft_pkg/soft_pkg_linux.json";
constexpr std::size_t kRulePathBytes = 256;
constexpr const char* kDesktopEntries = "/usr/share/applications/";
// The class of software that no rule knows.
constexpr const char* kUnknownClass = "10400012";

}  // namespace

InstallSoftware* InstallSoftware::getInstance() {
  static InstallSoftware instance;
  return &instance;
}

bool InstallSoftware::getAllInstallSoftware(std::vector<SOFTWARE_EX_S>& out) {
  char path[kRulePathBytes] = {};
  dirutils_path_transform(kPackageRules, path, sizeof(path));
  std::vector<INSTALL_SOFTWARE_CONFIG_S> rules;
  if (!RuleParser().loadInstallSoftwareRule(path, rules)) {
    error_output(0, __func__, __LINE__, "load install soft config error");
  }
  SoftwarePkgCache packages;
  packages.setEnvironment(m_env);
  std::vector<SoftwarePkgCacheUnit> desktop;
  packages.getPackageInfo(desktop, kDesktopEntries);
  std::vector<SoftwarePkgCacheUnit> all;
  if (!packages.getPackageInfo(all, nullptr)) return true;
  mergeInstalledSoftwareList(rules, all, desktop, out);
  return true;
}

void InstallSoftware::mergeInstalledSoftwareList(std::vector<INSTALL_SOFTWARE_CONFIG_S>& rules,
                                                 std::vector<SoftwarePkgCacheUnit>& all,
                                                 std::vector<SoftwarePkgCacheUnit>& desktop,
                                                 std::vector<SOFTWARE_EX_S>& out) {
  std::unordered_set<std::string> desktopKeys;
  for (const SoftwarePkgCacheUnit& unit : desktop) desktopKeys.insert(unit.getPackageKey());
  for (const SoftwarePkgCacheUnit& package : all) {
    SOFTWARE_EX_S soft;
    soft.isDesktop = desktopKeys.count(package.getPackageKey()) != 0;
    describe(package, getPkgConf(rules, package.getPackageName(), package.getPackageType()), soft);
    out.push_back(std::move(soft));
  }
}

void InstallSoftware::describe(const SoftwarePkgCacheUnit& package, INSTALL_SOFTWARE_CONFIG_S* rule,
                               SOFTWARE_EX_S& soft) {
  if (rule != nullptr) {
    soft.name = rule->appName;
    soft.binaryPath = getOneExistFile(m_env, rule->binPath);
    soft.confPath = getOneExistFile(m_env, rule->confPath);
    soft.companyZh = rule->companyZh;
    soft.companyEn = rule->companyEn;
    soft.belong = rule->belong;
    soft.classifyId = rule->classifyId;
    soft.id = rule->id;
    soft.tag = rule->tag;
    soft.installPath = soft.binaryPath;
  } else {
    soft.name = package.getPackageName();
    soft.classifyId = kUnknownClass;
    const std::vector<std::string>& files = package.getPackageConfigFiles();
    if (!files.empty()) soft.confPath = files.front();
  }
  soft.source = kSourcePackage;
  soft.version = package.getPackageVersion();
  soft.pkgVersion = package.getPackageVersion();
  soft.installTime = package.getPackageInstallTime();
  soft.size = package.getPackageSize();
  soft.description = package.getPackageDescription();
  soft.installType = package.getPackageType();
  soft.pkgKey = package.getPackageKey();
  soft.pkgName = package.getPackageName();
}

INSTALL_SOFTWARE_CONFIG_S* InstallSoftware::getPkgConf(
    std::vector<INSTALL_SOFTWARE_CONFIG_S>& rules, const std::string& name,
    const std::string& type) {
  std::vector<std::string> INSTALL_SOFTWARE_CONFIG_S::*names = nullptr;
  if (type == "rpm") names = &INSTALL_SOFTWARE_CONFIG_S::rpmPkg;
  if (type == "dpkg") names = &INSTALL_SOFTWARE_CONFIG_S::dpkgPkg;
  if (names == nullptr) return nullptr;
  for (INSTALL_SOFTWARE_CONFIG_S& rule : rules) {
    const std::vector<std::string>& listed = rule.*names;
    if (std::find(listed.begin(), listed.end(), name) != listed.end()) return &rule;
  }
  return nullptr;
}

std::string getOneExistFile(const std::string& env, const std::vector<std::string>& paths) {
  PathCollectionUnit unit;
  unit.setEnvironment(env);
  for (const std::string& path : paths) {
    if (unit.isExist(path)) return path;
  }
  return {};
}

}  // namespace LedgoraCollect
