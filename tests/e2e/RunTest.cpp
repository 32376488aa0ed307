#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

#include "support/Namespaces.h"
#include "support/ProgramRun.h"

using namespace LedgoraTest;

namespace {

/// The addresses that the kernel's own tool lists, in its order.
std::string listedByIp() {
  std::string joined;
  const std::string text =
      runProgram({"/bin/sh", "-c", "PATH=$PATH:/sbin:/usr/sbin ip -4 -o addr"}).out;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string number, interface, family, address;
    fields >> number >> interface >> family >> address;
    address = address.substr(0, address.find('/'));
    if (address == "127.0.0.1") continue;
    joined += (joined.empty() ? "" : ";") + address;
  }
  return joined;
}

std::string ipDocument(const std::string& addresses) {
  return addresses.empty() ? "{}" : "{\"ip_list\":\"" + addresses + "\"}";
}

mode_t modeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

}  // namespace

TEST(Run, SuccessTellsTheDocumentsLengthAndNothingElse) {
  ProgramRun program;
  const ProgramResult result = program.type(14, {"option=0", "mode=9"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.document, ipDocument(listedByIp()));
  EXPECT_EQ(result.out, std::to_string(result.document.size()));
  EXPECT_EQ(result.err, "");
  // The steps in their order, as people and tools look for them.
  const char* const steps[] = {
      "I run with collect type:14, collect mode 9, collect option 0, out file ",
      "I collect start time is ",
      "I log path:",
      "I ledgora agent build time: ",
      "I CollectManage collect type: 14, result file: ",
      "I success to get port info to json",
      "I start write json file ",
      "I success to write json file ",
      "I collect type 14 successful",
      "I write pipe with length:",
  };
  const std::string messages = result.messages();
  std::size_t place = 0;
  for (const char* step : steps) {
    const std::size_t found = messages.find(step, place);
    ASSERT_NE(found, std::string::npos) << step << " in\n" << messages;
    place = found;
  }
}

TEST(Run, AddressesAreThoseOfTheNetworkNamespace) {
  ASSERT_TRUE(passesInNamespaces(CLONE_NEWNET, [] {
    ProgramRun program;
    EXPECT_EQ(program.type(14).document, "{}");
    EXPECT_EQ(program.type(14).out, "2");
    ASSERT_EQ(runProgram({"/bin/sh", "-c",
                          "PATH=$PATH:/sbin:/usr/sbin; ip addr add 127.0.0.2/8 dev lo;"
                          "ip addr add 192.0.2.7/24 dev lo; ip addr add 192.0.2.8/24 dev lo;"
                          "ip -6 addr add 2001:db8::7/64 dev lo nodad"})
                  .exitStatus,
              0);
    const std::string listed = listedByIp();  // the kernel doesn't keep the order of adding
    for (const char* address : {"127.0.0.2", "192.0.2.7", "192.0.2.8"}) {
      EXPECT_NE(listed.find(address), std::string::npos) << listed;
    }
    EXPECT_EQ(program.type(14, {"env=/nowhere"}).document, ipDocument(listed));
  }));
}

TEST(Run, Arguments) {
  ProgramRun program;
  const std::string path = program.documentPath();
  const struct {
    const char* what;
    std::vector<std::string> arguments;
    int exitStatus;
    bool document;
    std::string record;  // must be in the log; or on standard error at exit status 255
  } cases[] = {
      {"none", {}, 0, false, "E collect type 0 failed with error code -1"},
      {"version", {"version", "path=" + path}, 0, true, "collect type 1001 successful"},
      {"later overwrites", {"version", "type=14", "path=" + path}, 0, true, "collect type 14 succ"},
      {"what follows the keyword is skipped",
       {"typeX14", "pathY" + path},
       0,
       true,
       "collect type 14 successful"},
      {"a keyword's beginning is none", {"typo=1"}, 255, false, "getCommandParam error"},
      {"one unknown stops the rest", {"type=14", "path=" + path, "-v"}, 255, false, "\"-v\""},
      {"help is no success", {"--help"}, 255, false, "usage: ledgora_collect"},
      {"quotes", {"type=14", "path=\"" + path + "\""}, 0, true, "successful"},
      {"bare keywords", {"type", "path", "option"}, 0, false, "collect type 0 not supported!"},
      {"no path", {"type=14"}, 0, false, "I collect type 14 successful"},
      {"saturates", {"type=99999999999"}, 0, false, "collect type 2147483647 not supported!"},
      {"negative", {"type=-14", "path=" + path}, 0, false, "collect type -14 not supported!"},
      {"text behind the number", {"type=14x", "path=" + path}, 0, true, "collect type 14 succ"},
      {"no collector", {"type=13", "path=" + path}, 0, false, "E type 13 is not support!"},
      {"outside", {"type=1002", "path=" + path}, 0, false, "E collect type 1002 not supported!"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const ProgramResult result = program.run(c.arguments);
    EXPECT_EQ(result.exitStatus, c.exitStatus);
    EXPECT_EQ(result.hasDocument, c.document);
    EXPECT_EQ(result.out, c.document ? std::to_string(result.document.size()) : "");
    const std::string told = c.exitStatus == 255 ? result.err : result.messages();
    EXPECT_NE(told.find(c.record), std::string::npos) << told;
  }
}

TEST(Run, OptionBitTwoWritesNothing) {
  ProgramRun program;
  const ProgramResult result = program.type(14, {"option=2"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_FALSE(result.hasDocument);
  EXPECT_EQ(result.count("type 14 with option 2 not required json file"), 1);
  EXPECT_EQ(result.count("collect type 14 successful"), 1);
}

TEST(Run, DirectoriesThatCannotBeMade) {
  ProgramRun program;
  program.tree().file("plain", "");
  const std::string plain = program.tree().path("plain");
  ProgramResult result = program.run({"type=14", "logpath=" + plain + "/log"});
  EXPECT_EQ(result.exitStatus, 255);
  EXPECT_NE(result.err.find("output path " + plain + "/log does can't create"), std::string::npos);
  EXPECT_NE(result.err.find("ledgora collector init failed"), std::string::npos);

  result = program.run({"type=14", "path=" + plain + "/x/out.json"});
  EXPECT_EQ(result.exitStatus, 255);
  EXPECT_EQ(result.messages().substr(result.messages().find("E ")),
            "E output path " + plain + "/x does can't create\nE ledgora collector init failed\n");

  program.tree().dir("taken");
  result = program.run({"type=14", "path=" + program.tree().path("taken")});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.count("open file " + program.tree().path("taken") + " error "), 1);
  EXPECT_EQ(result.count("type 14 writeJsonFile failed"), 1);
  EXPECT_EQ(result.count("collect type 14 successful"), 1);
}

TEST(Run, FilesOfTheRun) {
  ProgramRun program;
  TempRoot& tree = program.tree();
  program.inChild([] { umask(0); });
  program.type(14);
  EXPECT_EQ(modeOf(program.documentPath()), 0640U);
  EXPECT_EQ(modeOf(tree.path("var/log/ledgora-agent/collect.log")), 0640U);

  // What exists keeps its mode, and the parent may name a link.
  tree.file("real.json", "older and much longer than the address list will ever be....", 0604);
  tree.link("linked.json", "real.json");
  const ProgramResult result = program.run({"type=14", "path=" + tree.path("linked.json")});
  EXPECT_EQ(tree.read("real.json"), ipDocument(listedByIp()));
  EXPECT_EQ(result.out, std::to_string(tree.read("real.json").size()));
  EXPECT_EQ(modeOf(tree.path("real.json")), 0604U);

  // The log is never written through a link.
  tree.file("victim", "keep");
  tree.remove("var/log/ledgora-agent/collect.log");
  tree.link("var/log/ledgora-agent/collect.log", "../../../victim");
  EXPECT_EQ(program.type(14).exitStatus, 0);
  EXPECT_EQ(tree.read("victim"), "keep");

  tree.dir("elsewhere");
  program.run({"type=13", "logpath=\"" + tree.path("elsewhere") + "\""});
  EXPECT_NE(tree.read("elsewhere/ledgora-agent/collect.log").find("type 13 is not support!"),
            std::string::npos);
}

TEST(Run, RelativePathIsTakenFromTheCurrentDirectory) {
  ProgramRun program;
  program.tree().dir("here");
  const std::string here = program.tree().path("here");
  program.inChild([here] { EXPECT_EQ(chdir(here.c_str()), 0); });
  EXPECT_EQ(program.run({"type=14", "path=out.json"}).count(here + "/out.json"), 3);
  EXPECT_TRUE(program.tree().exists("here/out.json"));
}

TEST(Run, ClosedDescriptorsNeverBecomeFiles) {
  ProgramRun program;
  program.inChild([] {
    for (int descriptor = 0; descriptor < 3; ++descriptor) close(descriptor);
  });
  const ProgramResult result = program.type(14);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.document, ipDocument(listedByIp()));
  EXPECT_EQ(result.log.find('\0'), std::string::npos);
  EXPECT_EQ(result.count("write failed failed."), 0);
}

TEST(Run, ParentThatWentAwayIsAFailedWrite) {
  ProgramRun program;
  program.inChild([] {
    int ends[2];
    if (pipe(ends) != 0) _exit(99);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
  });
  const ProgramResult result = program.type(14);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.count("write failed failed."), 1);
}

TEST(Run, FullDiskIsToldInTheLog) {
  ASSERT_TRUE(passesInNamespaces(CLONE_NEWNS, [] {
    ProgramRun program;
    program.tree().dir("small");
    const std::string small = program.tree().path("small");
    ASSERT_EQ(mount("tmpfs", small.c_str(), "tmpfs", 0, "size=4k,nr_inodes=8"), 0);
    program.tree().file("small/filler", std::string(4096, 'x'));
    const ProgramResult result = program.run({"version", "path=" + small + "/out.json"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.count("json file " + small + "/out.json is incomplete: No space left"), 1);
    umount(small.c_str());
  }));
}

TEST(Run, LocaleVariableIsDropped) {
  ProgramRun program;
  program.environment("LC_ALL", "de_DE.UTF-8");
  EXPECT_EQ(program.type(14).count("LC_ALL =  de_DE.UTF-8"), 1);
}
