#pragma once

#include <string>

#include "support/TempRoot.h"

namespace LedgoraTest {

/// Copies a program of this machine into a root, with the libraries that it
/// needs, at the same paths.
void copyProgram(TempRoot& root, const std::string& program);

/// Lets a root answer what a run asks of its shell.
void copyShells(TempRoot& root);

}  // namespace LedgoraTest
