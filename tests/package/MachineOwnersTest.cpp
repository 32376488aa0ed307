#include <algorithm>
#include <set>
#include <sstream>

#include "CacheFixture.h"
#include "RpmRoot.h"
#include "package/PkgFileFilter.h"
#include "package/RpmCmdCollectionUnit.h"

namespace LedgoraTest {
namespace {

constexpr std::size_t kExecutables = 2000;
constexpr std::size_t kWithoutOwner = 400;
constexpr std::size_t kStoredPaths = 1024;

/// What the cache keeps of a package's list: what passes the filter, up to the
/// limit.
std::set<std::string> storedPaths(const std::string& package, const std::string& architecture) {
  const std::string stem = "/var/lib/dpkg/info/" + package;
  std::string text = readWhole(stem + ".list");
  if (text.empty()) text = readWhole(stem + ":" + architecture + ".list");
  std::istringstream lines(text);
  std::set<std::string> stored;
  for (std::string line; stored.size() < kStoredPaths && std::getline(lines, line);) {
    if (!LedgoraCollect::pkgFileFilter("", "", line)) stored.insert(line);
  }
  return stored;
}

/// The packages that dpkg names as owners of each path, as far as the cache
/// can know them. "diversion by" lines name no owner of the file itself.
std::map<std::string, std::set<std::string>> knownOwners() {
  std::istringstream status(readWhole("/var/lib/dpkg/status"));
  std::string last;
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("Package: ", 0) == 0) last = line.substr(9);
  }
  std::map<std::string, std::set<std::string>> owners;
  std::istringstream packages(
      commandOutput("dpkg-query -W -f '${Package} ${Architecture} ${db:Status-Want}\\n'"));
  for (std::string name, architecture, want; packages >> name >> architecture >> want;) {
    if (name == last || want == "deinstall") continue;
    for (const std::string& path : storedPaths(name, architecture)) owners[path].insert(name);
  }
  return owners;
}

class MachineOwners : public CacheTest {};

TEST_F(MachineOwners, ExecutablesBelongToWhomDpkgSays) {
  if (readWhole("/var/lib/dpkg/status").empty()) GTEST_SKIP() << "no dpkg on this machine";
  const auto known = knownOwners();
  std::istringstream found(commandOutput(
      "find /bin/ /sbin/ /usr/bin /usr/sbin /usr/lib /usr/libexec /usr/local /opt -type f "
      "-perm -u+x 2>/dev/null | sort -u"));
  std::vector<std::string> paths;
  std::size_t without = 0;
  for (std::string path; paths.size() < kExecutables && std::getline(found, path);) {
    if (path.find_first_of(" [*?\\") != std::string::npos) continue;  // patterns to dpkg -S
    if (known.count(path) == 0 && ++without > kWithoutOwner) continue;
    paths.push_back(path);
  }
  const Outcome outcome = run([&] {
    // Only dpkg is compared; rpm, where there is one, would be asked about each
    // path without owner.
    LedgoraCollect::RpmCmdCollectionUnit().setDetectResult(false);
    return owners(Environment{}, paths);
  });
  // dpkg's own answer: "package[:architecture][, ...]: path".
  std::string query = "dpkg -S";
  for (const std::string& path : paths) query += " " + path;
  std::map<std::string, std::set<std::string>> named;
  std::istringstream answers(commandOutput(query + " 2>/dev/null || true"));
  for (std::string line; std::getline(answers, line);) {
    if (line.rfind("diversion by", 0) == 0) continue;
    const std::size_t colon = line.rfind(": ");
    std::istringstream names(line.substr(0, colon));
    for (std::string name; std::getline(names >> std::ws, name, ',');) {
      named[line.substr(colon + 2)].insert(name.substr(0, name.find(':')));
    }
  }
  std::istringstream words(outcome.answer);
  std::size_t owned = 0;
  for (const std::string& path : paths) {
    std::string owner;
    words >> owner;
    const auto stored = known.find(path);
    if (stored == known.end()) {
      EXPECT_EQ(owner, "-") << path;
      continue;
    }
    ++owned;
    EXPECT_EQ(stored->second.count(owner), 1u) << path << " of " << owner;
    EXPECT_EQ(named[path].count(owner), 1u) << path << " of " << owner;
  }
  EXPECT_GT(owned, paths.size() / 2);
  RecordProperty("owned", static_cast<int>(owned));
  RecordProperty("asked", static_cast<int>(paths.size()));
}

}  // namespace
}  // namespace LedgoraTest
