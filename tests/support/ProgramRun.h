#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/TempRoot.h"

namespace LedgoraTest {

/// What a parent sees of one run, and what the run left behind.
struct ProgramResult {
  int exitStatus = -1;  // 128 + signal if one ended it
  std::string out;
  std::string err;
  bool hasDocument = false;
  std::string document;
  std::string log;        // the records of this run
  double cpuSeconds = 0;  // with everything that it started
  double seconds = 0;
  long peakKib = 0;

  /// The log's records without time and place, one a line: "E getaddr failed.".
  std::string messages() const;
  /// How many records hold `text`.
  int count(const std::string& text) const;
};

/// Runs a program with everything captured. `inChild` is called in the new
/// process before the program.
ProgramResult runProgram(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& environment = {},
                         const std::function<void()>& inChild = {});

/// The built program in an installation tree of its own: programs linked from
/// the built tree, a configuration that a test may change, an empty var.
class ProgramRun {
 public:
  ProgramRun();

  /// The installation: tree().file("config/hostlimit.ini", ...).
  TempRoot& tree() { return mTree; }
  std::string program() const { return mTree.path("bin/ledgora_collect"); }
  /// Where run() looks for the document: outside of the installation's files.
  std::string documentPath() const { return mTree.path("out/document.json"); }

  /// Adds a variable to those that the runs inherit.
  ProgramRun& environment(const std::string& name, const std::string& value);
  /// Called in each new process before the program: enter a namespace, lower
  /// a limit, close a descriptor.
  ProgramRun& inChild(std::function<void()> action);

  /// Runs with these arguments and no others. The document is read from
  /// documentPath().
  ProgramResult run(const std::vector<std::string>& arguments);
  /// Runs "type=N", "path=" documentPath() and `more`.
  ProgramResult type(int type, const std::vector<std::string>& more = {});

 private:
  TempRoot mTree;
  std::map<std::string, std::string> mEnvironment;
  std::function<void()> mInChild;
};

}  // namespace LedgoraTest
