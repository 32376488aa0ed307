#include <cstdio>

#include "run/ProtectCommand.h"

int main(int argc, char** argv) {
  return LedgoraCollect::protectCommand(argc, argv, stdout, stderr);
}
