// lloader SCRIPT [ARGUMENT...]: runs a script of the installation. Standard
// output is the script's own; what went wrong is told on standard error and in
// the log. Exit status: 0, 1 if the script failed, 2 without a script.
#include <cstdio>
#include <string>
#include <vector>

#include "common/support/Log.h"
#include "run/ProcessSetup.h"
#include "script/ScriptInterpreter.h"

using namespace LedgoraCollect;

int main(int argc, char** argv) {
  prepareProcess();
  if (argc < 2) {
    std::fputs("usage: lloader SCRIPT [ARGUMENT...]\n", stderr);
    return 2;
  }
  std::string error;
  ScriptInterpreter interpreter;
  const bool done =
      interpreter.run(argv[1], std::vector<std::string>(argv + 2, argv + argc), error);
  if (!done) {
    std::fprintf(stderr, "lloader: %s\n", error.c_str());
    error_output(0, __func__, __LINE__, "script %s failed: %s", argv[1], error.c_str());
  }
  if (std::fflush(stdout) != 0) {
    error_output(0, __func__, __LINE__, "script %s: its output can't be written", argv[1]);
    return 1;
  }
  return done ? 0 : 1;
}
