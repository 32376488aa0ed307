// Type 25 beside importlib.metadata on this machine, and in roots.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "support/DocumentView.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"
#include "support/RootPrograms.h"

using namespace LedgoraTest;

namespace {

const std::vector<const char*> kPackage{"package_name", "package_version", "package_path",
                                        "python_type"};

std::string metadata(const std::string& name, const std::string& version) {
  return "Metadata-Version: 2.1\nName: " + name + "\nVersion: " + version + "\nSummary: test\n";
}

std::string sortedLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  std::string sorted;
  for (const std::string& line : lines) sorted += line + "\n";
  return sorted;
}

/// Without the lines that begin with one of `names`.
std::string without(const std::string& text, const std::vector<std::string>& names) {
  std::string kept;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    const auto begins = [&line](const std::string& name) { return line.rfind(name + "|", 0) == 0; };
    if (std::none_of(names.begin(), names.end(), begins)) kept += line + "\n";
  }
  return kept;
}

constexpr char kAskPython[] =
    "import importlib.metadata as m\n"
    "for d in m.distributions(): print('%s|%s' % (d.metadata['Name'], d.version))\n";

void compareWithPython() {
  const std::string python = runProgram({"/usr/bin/python3", "-c",
                                         "import sys; print('python%d.%d' % "
                                         "sys.version_info[:2], end='')"})
                                 .out;
  ASSERT_EQ(python.rfind("python3.", 0), 0u) << python;
  // Below one directory both Debian's and other systems' names are searched.
  TempRoot local;
  const std::string site = "lib/" + python + "/dist-packages/";
  local.file(site + "wheel_like-1.0.dist-info/METADATA", metadata("wheel.like", "1.0"))
      .file(site + "wheel_like-1.0.dist-info/RECORD", "")
      .file(site + "old-0.9.egg-info", metadata("old", "0.9"))
      .file(site + "develop.egg-info/PKG-INFO", metadata("develop", "3.0.dev1"))
      .file(site + "bare-1.dist-info/METADATA", "Metadata-Version: 2.1\nName: bare\n")
      .file(site + "late-1.dist-info/METADATA",
            "Metadata-Version: 2.1\nName: late\n" + std::string("Classifier: x\n") +
                "Classifier: x\nClassifier: x\nClassifier: x\nClassifier: x\nClassifier: x\n"
                "Classifier: x\nClassifier: x\nVersion: 11\n")
      .file("elsewhere/linked-1.dist-info/METADATA", metadata("linked", "1"))
      .link(site + "linked-1.dist-info", local.path("elsewhere/linked-1.dist-info"));
  ASSERT_EQ(mount(local.path("lib").c_str(), "/usr/local/lib", nullptr, MS_BIND, nullptr), 0);

  const ProgramResult told =
      runProgram({"/usr/bin/python3", "-I", "-c", kAskPython}, {{"PYTHONUTF8", "1"}});
  ASSERT_EQ(told.exitStatus, 0) << told.err;
  ProgramRun program;
  const ProgramResult result = program.type(25);
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  // Python knows no version of "bare" and prints None; it reads the whole
  // file of "late", not ten lines; and it follows the link of "linked".
  const std::vector<std::string> differ{"bare", "late", "linked"};
  EXPECT_EQ(sortedLines(documentRows(result.document, {"package_name", "package_version"})),
            sortedLines(without(told.out, differ)));
  EXPECT_NE(without(told.out, differ), told.out);
  EXPECT_NE(result.document.find("\"wheel.like\""), std::string::npos);
  umount2("/usr/local/lib", MNT_DETACH);
}

}  // namespace

TEST(PythonPackages, AgreeWithPythonItself) {
  if (::access("/usr/bin/python3", X_OK) != 0) GTEST_SKIP() << "no python3 in /usr/bin";
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, compareWithPython));
}

TEST(PythonPackages, OfARootWithBothInterpreters) {
  TempRoot tree;
  const std::string root = "image.dist/";  // its own name says nothing of what is in it
  TempRoot shells;
  copyShells(shells);
  ASSERT_EQ(runProgram({"/bin/cp", "-a", shells.path(), tree.path("image.dist")}).exitStatus, 0);
  const std::string dist = root + "usr/lib/python3/dist-packages/";
  const std::string site = root + "usr/lib64/python3.9/site-packages/";
  std::string lines;
  for (int i = 0; i < 8; ++i) lines += "X: y\n";
  tree.link(root + "usr/bin/python3", "python3.9")
      .file(root + "usr/bin/python3.9", "", 0755)
      .link(root + "usr/bin/python2", "/opt/two/bin/python2.7")
      .file(root + "opt/two/bin/python2.7", "", 0755)
      .file(root + "opt/two/lib/python2.7/site-packages/two-1.egg-info", metadata("two", "1"))
      .file(root + "usr/lib/python3/plain/x.egg-info", metadata("not searched", "1"))
      .file(dist + "beside-1.dist-info/METADATA", metadata("beside", "1"))
      .file(dist + "beside/__init__.py", "")
      .file(dist + "Away-1.dist-info/METADATA", metadata("away", "1"))
      .file(dist + "file.egg-info", metadata("file", "1"))
      .file(dist + "tenth.egg-info", "Name: tenth\n" + lines + "Version: 1\n")
      .file(dist + "eleventh.egg-info", "Name: eleventh\n" + lines + "\nVersion: 1\n")
      .file(dist + "python.egg-info", metadata("PyThon", "3"))
      .file(dist + "noversion.egg-info", "Name: noversion\nVersion:\n")
      .file(dist + "twice.egg-info", "Name: twice\nVersion:\nversion: 2\n")
      .file(dist + "long.egg-info", "X: " + std::string(4096, 'x') + "\n" + metadata("long", "1"))
      .file(dist + "zero.egg-info", std::string(1 << 20, '\0'))
      .file(dist + "out.egg-info", metadata("../../../../../etc", "1"))
      .file(dist + "packed-1.egg", "PK\3\4")
      .file(dist + "tree-1.egg/EGG-INFO/PKG-INFO", metadata("tree", "1"))
      .dir(dist + "empty.dist-info")
      .fifo(dist + "fifo.egg-info")
      .link(dist + "loop.dist-info", "loop.dist-info")
      .link(dist + "host.egg-info", "/etc/passwd")
      .file(site + "first-1.dist-info/METADATA", metadata("first", "1"))
      .link(root + "usr/local", "local");
  ProgramRun program;
  const std::string env = "env=" + tree.path("image.dist");
  const ProgramResult result = program.type(25, {env});
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  EXPECT_EQ(sortedLines(documentRows(result.document, kPackage)),
            "../../../../../etc|1|/usr/lib/python3/dist-packages|python3\n"
            "away|1|/usr/lib/python3/dist-packages|python3\n"
            "beside|1|/usr/lib/python3/dist-packages/beside|python3\n"
            "file|1|/usr/lib/python3/dist-packages|python3\n"
            "first|1|/usr/lib64/python3.9/site-packages|python3\n"
            "tenth|1|/usr/lib/python3/dist-packages|python3\n"
            "twice|2|/usr/lib/python3/dist-packages|python3\n"
            "two|1|/opt/two/lib/python2.7/site-packages|python2\n")
      << result.messages();
  EXPECT_EQ(result.count("collect python package name is PyThon"), 1);
  EXPECT_EQ(result.count("eleventh.egg-info failed "), 1);

  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_PYTHON_PACKAGE=1\n");
  const ProgramResult limited = program.type(25, {env});
  EXPECT_EQ(documentRows(limited.document, {"package_name"}), "two\n");
  EXPECT_EQ(limited.count("get python package is more than 1"), 2) << limited.messages();
}

TEST(PythonPackages, RootsWithoutThem) {
  TempRoot root;
  copyShells(root);
  ProgramRun program;
  const std::string env = "env=" + root.path();
  ProgramResult result = program.type(25, {env});
  EXPECT_EQ(result.document, "{\"list\":[]}");
  EXPECT_EQ(result.count("get python2 package failed"), 2);
  EXPECT_EQ(result.count("pyPackage2Json is empty"), 1);
  // A real file of this name tells no version.
  root.file("usr/bin/python3", "", 0755).file("usr/lib/python3/a.egg-info", metadata("a", "1"));
  result = program.type(25, {env});
  EXPECT_EQ(result.document, "{\"list\":[]}");
  EXPECT_EQ(result.count("pythonVersion failed baseName is python3."), 1) << result.messages();
}
