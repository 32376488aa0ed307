#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/TempRoot.h"

namespace LedgoraTest {

/// A dpkg root that a test changes package by package, as dpkg would.
class DpkgRoot {
 public:
  struct Package {
    std::string version;
    long listTime = 1700000000;
    std::vector<std::string> files;
  };

  TempRoot& tree() { return mTree; }
  std::string path() const { return mTree.path(); }
  void install(const std::string& name, const Package& package);
  void remove(const std::string& name);
  /// Writes the status file and the list files that changed.
  void write();
  /// What the list form must give: "name version|..." in the cache's order.
  std::string expected() const;

 private:
  TempRoot mTree;
  std::map<std::string, Package> mPackages;
};

/// Which cache is asked.
struct Environment {
  std::string root;
  std::string target;
  std::string containerId;
};

/// Each run of the cache is a process of its own, as in the product, with the
/// installation's data directory replaced by one of the test's.
class CacheTest : public ::testing::Test {
 protected:
  CacheTest();

  struct Outcome {
    std::string answer;
    std::string log;
    int status = -1;  // of waitpid
    int count(const std::string& text) const;
  };

  /// Runs `body` in a new process; its result is the answer. `prepare` may
  /// mount something over the data directory, whose path it is given.
  Outcome run(const std::function<std::string()>& body,
              const std::function<void(const std::string&)>& prepare = {});
  /// The same without waiting; finish() collects the outcome.
  pid_t start(const std::function<std::string()>& body,
              const std::function<void(const std::string&)>& prepare = {});
  Outcome finish(pid_t pid);

  /// The list form, as DpkgRoot::expected() writes it, or "failed".
  Outcome list(const Environment& environment) {
    return run([environment] { return listed(environment); });
  }
  static std::string listed(const Environment& environment);
  /// The owners of the paths, "-" for none.
  static std::string owners(const Environment& environment, const std::vector<std::string>& paths);

  /// Runs SQL on the database file: rows joined by "\n", columns by "|".
  std::string sql(const std::string& text);
  TempRoot& data() { return mData; }
  std::string database() const { return mData.path("hoststate.db"); }

 private:
  TempRoot mData;
  TempRoot mOutput;
};

}  // namespace LedgoraTest
