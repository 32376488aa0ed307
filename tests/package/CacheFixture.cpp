#include "CacheFixture.h"

#include <fcntl.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <stdexcept>

#include "common/support/InstallPath.h"
#include "common/support/Log.h"
#include "package/SoftwarePkgCache.h"
#include "support/Namespaces.h"

namespace LedgoraTest {
namespace {

using LedgoraCollect::SoftwarePkgCache;
using LedgoraCollect::SoftwarePkgCacheUnit;

void require(bool done, const std::string& what) {
  if (!done) throw std::runtime_error(what + ": " + std::strerror(errno));
}

void writeWhole(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

SoftwarePkgCache& cacheOf(const Environment& environment, SoftwarePkgCache& cache) {
  cache.setEnvironment(environment.root);
  cache.setTarget(environment.target);
  cache.setContainerId(environment.containerId);
  return cache;
}

}  // namespace

void DpkgRoot::install(const std::string& name, const Package& package) {
  mPackages[name] = package;
  std::string files = "/.\n";
  for (const std::string& file : package.files) files += file + "\n";
  mTree.file("var/lib/dpkg/info/" + name + ".list", files)
      .modified("var/lib/dpkg/info/" + name + ".list", package.listTime);
}

void DpkgRoot::remove(const std::string& name) {
  mPackages.erase(name);
  mTree.remove("var/lib/dpkg/info/" + name + ".list");
}

void DpkgRoot::write() {
  std::string status;
  for (const auto& [name, package] : mPackages) {
    status += "Package: " + name + "\nStatus: install ok installed\nInstalled-Size: 10\n" +
              "Architecture: all\nVersion: " + package.version + "\nConffiles:\n /etc/" + name +
              ".conf 0123456789abcdef\nDescription: the " + name + "\n more about it\n\n";
  }
  // Never reported, being the last.
  mTree.file("var/lib/dpkg/status", status + "Package: zz-last\nVersion: 0\n");
}

std::string DpkgRoot::expected() const {
  std::map<std::string, std::string> byKey;
  for (const auto& [name, package] : mPackages) {
    const std::string key =
        name + package.version + std::to_string(package.listTime) + "000" + "10";
    byKey[key] = name + " " + package.version;
  }
  std::string text;
  for (const auto& entry : byKey) text += entry.second + "|";
  return text;
}

CacheTest::CacheTest() {
  // The directory over which runs mount theirs.
  const std::string directory = LedgoraCollect::installPath("@/../var/data");
  require(LedgoraCollect::dirutils_mkdir(directory.c_str(), 0755) == 0, directory);
  // What earlier tests of this process logged doesn't belong to the runs.
  LedgoraCollect::autolog_init(mOutput.path().c_str(), 1);
}

int CacheTest::Outcome::count(const std::string& text) const {
  int found = 0;
  for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
    ++found;
  }
  return found;
}

pid_t CacheTest::start(const std::function<std::string()>& body,
                       const std::function<void(const std::string&)>& prepare) {
  const std::string directory = LedgoraCollect::installPath("@/../var/data");
  const pid_t pid = fork();
  require(pid >= 0, "fork");
  if (pid != 0) return pid;
  const std::string output = mOutput.path(std::to_string(getpid()));
  try {
    require(LedgoraTest::enterMountNamespace(), "mount namespace, which needs root");
    require(mount(mData.path().c_str(), directory.c_str(), nullptr, MS_BIND, nullptr) == 0, "bind");
    if (prepare) prepare(directory);
    require(mkdir(output.c_str(), 0755) == 0, output);
    LedgoraCollect::autolog_init(output.c_str(), 1);
    writeWhole(output + "/answer", body());
  } catch (const std::exception& failure) {
    writeWhole(output + ".failure", failure.what());
    _exit(3);
  }
  std::exit(0);  // as a run ends: the connection is closed by its destructor
}

CacheTest::Outcome CacheTest::finish(pid_t pid) {
  Outcome outcome;
  require(waitpid(pid, &outcome.status, 0) == pid, "waitpid");
  const std::string name = std::to_string(pid);
  EXPECT_EQ(readWhole(mOutput.path(name + ".failure")), "");
  outcome.answer = readWhole(mOutput.path(name + "/answer"));
  outcome.log = readWhole(mOutput.path(name + "/collect.log"));
  mOutput.remove(name);
  return outcome;
}

CacheTest::Outcome CacheTest::run(const std::function<std::string()>& body,
                                  const std::function<void(const std::string&)>& prepare) {
  return finish(start(body, prepare));
}

std::string CacheTest::listed(const Environment& environment) {
  SoftwarePkgCache cache;
  std::vector<SoftwarePkgCacheUnit> units;
  if (!cacheOf(environment, cache).getPackageInfo(units, nullptr)) return "failed";
  std::string text;
  for (const auto& unit : units) {
    text += unit.getPackageName() + " " + unit.getPackageVersion() + "|";
  }
  return text;
}

std::string CacheTest::owners(const Environment& environment,
                              const std::vector<std::string>& paths) {
  SoftwarePkgCache cache;
  cacheOf(environment, cache);
  std::string text;
  for (const std::string& path : paths) {
    SoftwarePkgCacheUnit unit;
    const bool found = cache.getPackageInfo(path, unit);
    text += (found ? unit.getPackageName() : "-") + " ";
  }
  return text;
}

std::string CacheTest::sql(const std::string& text) {
  sqlite3* db = nullptr;
  require(sqlite3_open_v2(database().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK,
          "opening " + database());
  std::string rows;
  const auto append = [](void* all, int columns, char** values, char**) {
    auto& joined = *static_cast<std::string*>(all);
    for (int i = 0; i < columns; ++i) {
      joined += (i > 0 ? "|" : "") + std::string(values[i] != nullptr ? values[i] : "");
    }
    joined += "\n";
    return 0;
  };
  char* message = nullptr;
  if (sqlite3_exec(db, text.c_str(), append, &rows, &message) != SQLITE_OK) {
    rows += std::string("error: ") + message;
  }
  sqlite3_free(message);
  sqlite3_close(db);
  return rows;
}

}  // namespace LedgoraTest
