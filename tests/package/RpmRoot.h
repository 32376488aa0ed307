#pragma once

#include <string>
#include <vector>

#include "support/TempRoot.h"

namespace LedgoraTest {

/// Runs a command of this machine; its standard output. Throws when it fails.
std::string commandOutput(const std::string& command);

/// A root with a real rpm inside and packages that rpmbuild made.
class RpmRoot {
 public:
  RpmRoot();
  TempRoot& tree() { return mTree; }
  const std::string& path() const { return mTree.path(); }

  /// Builds the packages of a spec file.
  void build(const std::string& name, const std::string& spec);
  /// rpm with these arguments on the root's database, from outside.
  std::string rpm(const std::string& arguments) const;
  /// Installs or upgrades to a package that was built.
  void install(const std::string& package) const;
  /// rpm with these arguments as somebody inside the root would run it.
  std::string rpmInside(const std::string& arguments) const;

 private:
  void copyProgram(const std::string& program);
  TempRoot mTree;
  TempRoot mBuild;
};

}  // namespace LedgoraTest
