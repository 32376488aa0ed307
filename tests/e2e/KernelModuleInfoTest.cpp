#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "support/DocumentView.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"
#include "support/RootPrograms.h"

using namespace LedgoraTest;

namespace {

const std::vector<const char*> kModule{"mod_name",          "mod_version", "mod_path",
                                       "mod_size",          "holder_mods", "holder_mod_count",
                                       "depend_proc_count", "parameters"};

/// The program on a machine whose lsmod and modinfo are these scripts. They are
/// mounted over the machine's own where it has some.
class Machine {
 public:
  Machine(const std::string& lsmod, const std::string& modinfo) {
    set("lsmod", lsmod);
    set("modinfo", modinfo);
    mProgram.environment("PATH", mCommands.path() + ":/usr/bin:/bin");
    mProgram.inChild([directory = mCommands.path()] {
      if (!LedgoraTest::enterMountNamespace()) ::_exit(9);
      for (const std::string place : {"/usr/sbin/", "/usr/bin/"}) {
        for (const std::string name : {"lsmod", "modinfo"}) {
          ::mount((directory + "/both").c_str(), (place + name).c_str(), nullptr, MS_BIND, nullptr);
        }
      }
    });
    mCommands.file("both", "#!/bin/sh\nexec " + mCommands.path() + "/${0##*/} \"$@\"\n", 0755);
  }

  void set(const std::string& name, const std::string& script) {
    mCommands.file(name, "#!/bin/sh\n" + script + "\n", 0755);
  }
  ProgramRun& program() { return mProgram; }
  bool left(const char* name) const { return mCommands.exists(name); }
  std::string path(const char* name) const { return mCommands.path(name); }

 private:
  TempRoot mCommands;
  ProgramRun mProgram;
};

constexpr char kList[] =
    "printf 'Module  Size  Used by\\nnf_nat  57344  2 a,b\\next4 983040 1\\nunknown 1 0\\n'";
constexpr char kDetails[] =
    "case $1 in nf_nat) printf 'filename: /lib/nf.ko\\nversion: 2\\nparm: x:one\\nparm: "
    "y:two\\n';;\n"
    "ext4) printf 'filename: (builtin)\\ndepends: a,b,c\\n';; *) exit 1;; esac";

}  // namespace

TEST(KernelModuleInfo, ListAndDetails) {
  Machine machine(kList, kDetails);
  ProgramResult result = machine.program().type(21);
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  EXPECT_EQ(documentRows(result.document, kModule),
            "nf_nat|2|/lib/nf.ko|57344|[\"a\",\"b\"]|2|0|[\"x:one\",\"y:two\"]\n"
            "ext4||(builtin)|983040|[]|0|3|[]\n");
  machine.program().tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_KERNEL=1\n");
  EXPECT_EQ(documentCount(machine.program().type(21).document), 1);
  machine.program().tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_KERNEL=0\n");
  EXPECT_EQ(machine.program().type(21).document, "{\"list\":[]}");
}

TEST(KernelModuleInfo, NamesThatAreNoPlainWordsAreNotAsked) {
  Machine machine("printf 'Module Size Used by\\n$(touch\\n;id 1 0\\n-rf 1 0\\ngood 5 0\\n'",
                  "echo \"$@\" >>\"${0%/*}/asked\"; echo 'filename: /x'");
  const ProgramResult result = machine.program().type(21);
  EXPECT_EQ(documentRows(result.document, {"mod_name"}), "good\n");
  EXPECT_EQ(readWhole(machine.path("asked")), "good\n");
}

TEST(KernelModuleInfo, CommandsThatFail) {
  const struct {
    const char* what;
    const char* lsmod;
    const char* modinfo;
  } cases[] = {
      {"lsmod fails", "exit 1", kDetails},
      {"lsmod prints its header only", "echo Module Size Used by", kDetails},
      {"modinfo fails", kList, "exit 127"},
      {"modinfo prints nothing", kList, "echo"},
      {"noise instead of a list", "head -c 10485760 /dev/zero | tr '\\0' x", kDetails},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Machine machine(c.lsmod, c.modinfo);
    const ProgramResult result = machine.program().type(21);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.document, "{\"list\":[]}");
  }
}

TEST(KernelModuleInfo, OfAMountedRootComesFromItsPrograms) {
  TempRoot root;
  copyProgram(root, "/bin/sh");
  root.file("usr/sbin/lsmod", "#!/bin/sh\necho 'Module Size Used by'\necho 'of_root 7 1 other'\n",
            0755)
      .file("usr/sbin/modinfo", "#!/bin/sh\necho \"filename: /lib/$1.ko\"\n", 0755)
      .dir("dev");
  ProgramRun program;
  EXPECT_EQ(documentRows(program.type(21, {"env=" + root.path()}).document, kModule),
            "of_root||/lib/of_root.ko|7|[\"other\"]|1|0|[]\n");
  EXPECT_FALSE(root.exists("dev/null"));
}

TEST(KernelModuleInfo, NoiseOfModinfoStaysBounded) {
  Machine machine("printf 'Module Size Used by\\none 1 0\\ntwo 1 0\\n'",
                  "yes 'parm: noise noise noise noise' | head -c 10485760");
  const ProgramResult result = machine.program().type(21);
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  EXPECT_EQ(documentCount(result.document), 2);
  EXPECT_LT(result.document.size(), 24U << 20);
}

TEST(KernelModuleInfo, ForbiddenCommands) {
  Machine machine(kList, kDetails);
  machine.program().tree().file("config/soft_app_filter.json", R"({"cmd_disable":["lsmod"]})");
  const ProgramResult result = machine.program().type(21);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.document, "{\"list\":[]}");
  EXPECT_EQ(result.count("is forbidden by filter!"), 1) << result.log;
}
