#include "RpmRoot.h"

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace LedgoraTest {
namespace {

constexpr const char* kDatabase = "/var/lib/rpm";

}  // namespace

std::string commandOutput(const std::string& command) {
  FILE* pipe = popen(("LC_ALL=C.UTF-8 " + command).c_str(), "re");
  if (pipe == nullptr) throw std::runtime_error(command);
  std::string out;
  char buffer[65536];
  for (std::size_t count = 0; (count = fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
    out.append(buffer, count);
  }
  if (pclose(pipe) != 0) throw std::runtime_error(command + "\n" + out);
  return out;
}

RpmRoot::RpmRoot() {
  copyProgram("/usr/bin/rpm");
  mTree.dir("usr/lib");
  fs::copy("/usr/lib/rpm", mTree.path("usr/lib/rpm"),
           fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  // Some distributions' rpm keeps root's database in the home directory.
  mTree.file("etc/rpm/macros", std::string("%_dbpath ") + kDatabase + "\n").dir(kDatabase);
  mTree.dir("dev").dir("tmp", 01777);
  rpm("--initdb");
}

void RpmRoot::copyProgram(const std::string& program) {
  std::istringstream lines(commandOutput("ldd " + program));
  for (std::string word; lines >> word;) {
    if (word.front() == '/') mTree.copy(word, word);
  }
  mTree.copy(program, program);
}

void RpmRoot::build(const std::string& name, const std::string& spec) {
  mBuild.file(name + ".spec", spec);
  commandOutput("rpmbuild --quiet -bb --define '_topdir " + mBuild.path("top") + "' " +
                mBuild.path(name + ".spec") + " 2>&1");
}

std::string RpmRoot::rpm(const std::string& arguments) const {
  return commandOutput("rpm --root " + mTree.path() + " --dbpath " + kDatabase + " " + arguments +
                       " 2>&1");
}

void RpmRoot::install(const std::string& package) const {
  rpm("-U --replacepkgs --nodeps --noscripts --nosignature " +
      mBuild.path("top/RPMS/noarch/" + package + ".noarch.rpm"));
}

std::string RpmRoot::rpmInside(const std::string& arguments) const {
  return commandOutput("chroot " + mTree.path() + " /usr/bin/rpm " + arguments + " || true");
}

}  // namespace LedgoraTest
