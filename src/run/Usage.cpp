#include "run/Usage.h"

#include <cstdio>
#include <string_view>

namespace LedgoraCollect {

namespace {

constexpr const char* kHelp =
    R"(usage: ledgora_collect type=N path=FILE [option=N] [env=ROOT] [logpath=DIR]
       ledgora_collect version path=FILE

Collects one inventory type of this machine into FILE, as one JSON document,
and prints the document's length. No length printed means no document; the
log tells why.

  type=N       what to collect:
                 1 system    2 status    3 processes    4 users    5 ports
                 6 scheduled jobs    7 software    8 to 12 web and databases
                 14 IP addresses    15 connections    19 services
                 20 environment    21 kernel modules    22 Java archives
                 23 packages    24 npm packages    25 Python packages
                 1001 versions of this program and its rules
  path=FILE    the document; missing directories are made
  option=N     sum of 1 quick, 2 no file, 4 web and database software too,
               8 records of containers too, 16 no records of the host
  env=ROOT     inventory the system under ROOT instead of this one
  logpath=DIR  where the log goes (DIR/ledgora-agent/collect.log); without
               it, var/log of the installation
  mode=N       accepted, without effect
  version      the same as type=1001
  --help       this text
)";

bool asksForHelp(std::string_view argument) {
  return argument == "--help" || argument == "-h" || argument == "help";
}

}  // namespace

void explainArgument(const std::string& refused) {
  if (asksForHelp(refused)) {
    std::fputs(kHelp, stderr);
    return;
  }
  std::fprintf(stderr,
               "ledgora_collect: unknown argument \"%s\"; ledgora_collect --help tells what "
               "there is\n",
               refused.c_str());
}

}  // namespace LedgoraCollect
