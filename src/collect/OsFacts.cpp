#include "collect/OsFacts.h"

#include <initializer_list>

#include "common/RegexUtils.h"
#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "hostmodel/FileCollectionUnit.h"
#include "run/CollectBase.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kOsRelease = "/etc/os-release";

// Values may stand in double quotes; single quotes stay. The keys aren't bound
// to the beginning of a line, but for ID, which needs white space in front: so
// an ID in the very first line isn't seen. Consumers know the values so.
constexpr struct {
  std::string OS_RELEASE::*member;
  const char* expression;
} kOsReleaseKeys[] = {
    {&OS_RELEASE::versionId, R"(VERSION_ID\s*=\s*\"*([^\f\n\r\v\"]+)\"*)"},
    {&OS_RELEASE::versionCodename, R"(VERSION_CODENAME\s*=\s*\"*([^\f\n\r\v\"]+)\"*)"},
    {&OS_RELEASE::name, R"(NAME\s*=\s*\"*([^\f\n\r\v\"]+)\"*)"},
    {&OS_RELEASE::prettyName, R"(PRETTY_NAME\s*=\s*\"*([^\f\n\r\v\"]+)\"*)"},
    {&OS_RELEASE::version, R"(VERSION\s*=\s*\"*([^\f\n\r\v\"]+)\"*)"},
    {&OS_RELEASE::id, R"(\s+ID\s*=\s*\"*([^\f\n\r\v\"]+)\"*)"},
};

// The first that the name holds replaces it.
constexpr const char* kFamilies[] = {"kylin",   "uos",    "ubuntu",  "openeuler", "redhat",
                                     "euleros", "centos", "asianux", "redflag",   "debian"};

constexpr const char* kNameWithoutOsRelease = R"(\s*([^\f\n\r\v\"\\]{3,}))";
constexpr const char* kVersionNumber = R"(([\d\.]+))";
constexpr const char* kDebianCodename = R"(\((\S+)\))";
constexpr const char* kUbuntuEdition = "LTS";
constexpr const char* kKylinEdition = R"((SP[\d]+))";
constexpr const char* kUosServerEdition =
    R"(UnionTech\s*OS\s*Server\s*[\w]+\s+[\d]{4}([a-zA-Z]{1}))";
constexpr const char* kUosDesktopEdition = R"(UnionTech\s*OS\s*Desktop\s*[\w]+\s+(\w+))";

std::vector<std::string> below(const std::string& env, std::initializer_list<const char*> paths) {
  std::vector<std::string> full;
  for (const char* path : paths) full.push_back(CollectBase::addEnvPath(env, path));
  return full;
}

std::string findBelow(const std::string& env, std::initializer_list<const char*> paths,
                      const char* expression) {
  std::vector<std::string> full = below(env, paths);
  return findFileValueByRegex(full, expression);
}

bool stopAtFirstLine(const std::string&, void*) { return true; }

bool isReadable(const std::string& env, const char* path) {
  FileCollectionUnit unit;
  unit.setEnvironment(env);
  return unit.readFileLines(path, stopAtFirstLine, nullptr);
}

bool holds(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

}  // namespace

bool parseOsRelease(const std::string& env, OS_RELEASE& release) {
  if (!isReadable(env, kOsRelease)) {
    error_output(1, __func__, __LINE__, "[CollectSystemInfo]os release : %s not found!",
                 CollectBase::addEnvPath(env, kOsRelease).c_str());
    return false;
  }
  for (const auto& key : kOsReleaseKeys) {
    release.*key.member = findBelow(env, {kOsRelease}, key.expression);
  }
  if (release.versionCodename.empty() && release.id == "debian") {
    regex_interface(release.version, release.versionCodename, kDebianCodename);
  }
  return true;
}

std::string normaliseOsName(const std::string& name) {
  for (const char* family : kFamilies) {
    if (holds(name, family)) return family;
  }
  return holds(name, "red hat") || holds(name, "rhel") ? "redhat" : name;
}

// These are the files of the running system, also for a mounted root: a root
// without os-release goes by the name of the machine that it is mounted on.
// Consumers rely on it.
std::string getOsNameFromMultiFiles() {
  std::string name = findBelow("", {"/etc/redhat-release", "/etc/system-release-cpe", "/etc/issue"},
                               kNameWithoutOsRelease);
  StringUtils::lower(name);
  return name.empty() ? "linux" : name;
}

std::string getOsVersionFromMultiFiles(const std::string& env) {
  return findBelow(env, {"/etc/issue", "/etc/redhat-release"}, kVersionNumber);
}

std::string findOsEdition(const std::string& env, const std::string& osName,
                          const std::string& hostType) {
  if (osName == "ubuntu") return findBelow(env, {kOsRelease, "/etc/issue"}, kUbuntuEdition);
  if (osName == "kylin") {
    return findBelow(env, {kOsRelease, "/etc/.kyinfo", "/etc/.productinfo", "/etc/issue"},
                     kKylinEdition);
  }
  if (osName != "uos") return {};
  const bool isServer = hostType == "server";
  if (!isServer && hostType != "pc") return {};
  return findBelow(env, {kOsRelease, "/etc/product-info", "/etc/issue"},
                   isServer ? kUosServerEdition : kUosDesktopEdition);
}

}  // namespace LedgoraCollect
