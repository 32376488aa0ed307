#include "support/RootPrograms.h"

#include <sstream>

#include "support/ProgramRun.h"

namespace LedgoraTest {

void copyProgram(TempRoot& root, const std::string& program) {
  root.copy(program, program);
  std::istringstream words(runProgram({"/usr/bin/ldd", program}).out);
  for (std::string word; words >> word;) {
    if (word[0] == '/' && !root.exists(word)) root.copy(word, word);
  }
}

void copyShells(TempRoot& root) {
  for (const char* program : {"/bin/bash", "/bin/sh"}) copyProgram(root, program);
  root.dir("dev").dir("proc");
}

}  // namespace LedgoraTest
