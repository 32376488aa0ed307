#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "common/support/Handles.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"
#include "support/RootPrograms.h"

using namespace LedgoraTest;

namespace LedgoraCollect {
namespace {

// Without the profile of whoever runs the test, which a login shell reads.
struct QuickRun : ProgramRun {
  QuickRun() { environment("HOME", "/nonexistent"); }
};

JsonHandle parsed(const ProgramResult& result) {
  return JsonHandle(cJSON_Parse(result.document.c_str()));
}

std::string text(const cJSON* object, const char* key) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
  return cJSON_IsString(item) ? item->valuestring : "(no string)";
}

// "name|version|codename|edition|host type"
std::string showOs(const ProgramResult& result) {
  const JsonHandle document = parsed(result);
  std::string shown;
  for (const char* key :
       {"os_name", "os_version", "os_version_codename", "os_edition_version", "host_type"}) {
    shown += text(document.get(), key) + "|";
  }
  shown.pop_back();
  return shown;
}

struct Distribution {
  const char* what;
  const char* osRelease;
  std::vector<std::pair<const char*, const char*>> otherFiles;
  const char* want;
};

const Distribution kDistributions[] = {
    {"Debian 12",
     "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\n"
     "VERSION_ID=\"12\"\nVERSION=\"12 (bookworm)\"\nVERSION_CODENAME=bookworm\nID=debian\n"
     "HOME_URL=\"https://www.debian.org/\"\n",
     {{"etc/issue", "Debian GNU/Linux 12 \\n \\l\n\n"}},
     "debian|12|bookworm||pc"},
    {"Debian 11",
     "PRETTY_NAME=\"Debian GNU/Linux 11 (bullseye)\"\nNAME=\"Debian GNU/Linux\"\n"
     "VERSION_ID=\"11\"\nVERSION=\"11 (bullseye)\"\nVERSION_CODENAME=bullseye\nID=debian\n",
     {},
     "debian|11|bullseye||pc"},
    {"Debian 9, codename in the version only",
     "PRETTY_NAME=\"Debian GNU/Linux 9 (stretch)\"\nNAME=\"Debian GNU/Linux\"\n"
     "VERSION_ID=\"9\"\nVERSION=\"9 (stretch)\"\nID=debian\n",
     {},
     "debian|9|stretch||pc"},
    {"Ubuntu LTS",
     "PRETTY_NAME=\"Ubuntu 22.04.3 LTS\"\nNAME=\"Ubuntu\"\nVERSION_ID=\"22.04\"\n"
     "VERSION=\"22.04.3 LTS (Jammy Jellyfish)\"\nVERSION_CODENAME=jammy\nID=ubuntu\n"
     "ID_LIKE=debian\nUBUNTU_CODENAME=jammy\n",
     {{"etc/issue", "Ubuntu 22.04.3 LTS \\n \\l\n"}},
     "ubuntu|22.04|jammy|lts|pc"},
    {"Ubuntu between",
     "PRETTY_NAME=\"Ubuntu 23.10\"\nNAME=\"Ubuntu\"\nVERSION_ID=\"23.10\"\n"
     "VERSION=\"23.10 (Mantic Minotaur)\"\nVERSION_CODENAME=mantic\nID=ubuntu\n",
     {{"etc/issue", "Ubuntu 23.10 \\n \\l\n"}},
     "ubuntu|23.10|mantic||pc"},
    {"CentOS 7",
     "NAME=\"CentOS Linux\"\nVERSION=\"7 (Core)\"\nID=\"centos\"\nID_LIKE=\"rhel fedora\"\n"
     "VERSION_ID=\"7\"\nPRETTY_NAME=\"CentOS Linux 7 (Core)\"\n",
     {{"etc/redhat-release", "CentOS Linux release 7.9.2009 (Core)\n"}},
     "centos|7|||server"},
    {"RHEL",
     "NAME=\"Red Hat Enterprise Linux\"\nVERSION=\"8.8 (Ootpa)\"\nID=\"rhel\"\n"
     "ID_LIKE=\"fedora\"\nVERSION_ID=\"8.8\"\nPLATFORM_ID=\"platform:el8\"\n"
     "PRETTY_NAME=\"Red Hat Enterprise Linux 8.8 (Ootpa)\"\n",
     {},
     "redhat|8.8|||server"},
    {"openEuler",
     "NAME=\"openEuler\"\nVERSION=\"22.03 (LTS-SP1)\"\nID=\"openEuler\"\nVERSION_ID=\"22.03\"\n"
     "PRETTY_NAME=\"openEuler 22.03 (LTS-SP1)\"\nANSI_COLOR=\"0;31\"\n",
     {},
     "openeuler|22.03|||server"},
    {"Kylin V10 server",
     "NAME=\"Kylin Linux Advanced Server\"\nVERSION=\"V10 (Sword)\"\nID=\"kylin\"\n"
     "VERSION_ID=\"V10\"\nPRETTY_NAME=\"Kylin Linux Advanced Server V10 (Sword)\"\n",
     {{"etc/.kyinfo",
       "[dist]\nname=Kylin\nmilestone=Server-V10-SP2-Build09\narch=x86_64\n"
       "dist_id=Kylin-Server-V10-SP2-Build09-x86_64\n\n[os]\nto=\nterm=\n"},
      {"etc/.productinfo", "Kylin Linux Advanced Server\nrelease V10 (SP2) /(Sword)-x86_64\n"}},
     "kylin|v10||sp2|server"},
    {"Kylin V10 server without kyinfo",
     "NAME=\"Kylin Linux Advanced Server\"\nVERSION=\"V10 (Tercel)\"\nID=\"kylin\"\n"
     "VERSION_ID=\"V10\"\n",
     {{"etc/.productinfo", "Kylin Linux Advanced Server\nrelease V10 (SP1) /(Tercel)-x86_64\n"}},
     "kylin|v10||sp1|server"},
    {"Kylin V10 desktop",
     "NAME=\"Kylin\"\nVERSION=\"银河麒麟桌面操作系统V10 (SP1)\"\n"
     "VERSION_US=\"Kylin Linux Desktop V10 (SP1)\"\nID=kylin\nID_LIKE=debian\n"
     "PRETTY_NAME=\"Kylin V10 SP1\"\nVERSION_ID=\"v10\"\nVERSION_CODENAME=kylin\n",
     {{"etc/.kyinfo",
       "[dist]\nname=Kylin\nmilestone=Desktop-V10-SP1-General\n"
       "dist_id=Kylin-Desktop-V10-SP1-General\n"},
      {"etc/.productinfo", "name=Kylin Server\n"}},
     "kylin|v10|kylin|sp1|pc"},
    {"UnionTech OS server",
     "PRETTY_NAME=\"UnionTech OS Server 20\"\nNAME=\"UnionTech OS Server 20\"\n"
     "VERSION_ID=\"20\"\nVERSION=\"20\"\nID=UOS\nPLATFORM_ID=\"platform:uelc20\"\n",
     {{"etc/product-info", "UnionTech OS Server 20 1050e\n"}},
     "uos|20||e|server"},
    {"UnionTech OS desktop",
     "PRETTY_NAME=\"UnionTech OS Desktop 20 Pro\"\nNAME=\"uos\"\nVERSION_ID=\"20\"\n"
     "VERSION=\"20\"\nID=uos\nVERSION_CODENAME=eagle\n",
     {{"etc/product-info", "server\n"}},
     "uos|20|eagle|pro|pc"},
    {"Asianux",
     "NAME=\"Asianux Server\"\nVERSION=\"8.1\"\nID=\"asianux\"\nVERSION_ID=\"8.1\"\n",
     {{"etc/.productinfo", "Asianux Server 8\n"}},
     "asianux|8.1|||server"},
    {"Asianux without productinfo", "NAME=Asianux\nID=asianux\nVERSION_ID=7\n", {}, "asianux|7|||"},
    {"ID in the first line isn't seen", "ID=debian\nVERSION_ID=12\n", {}, "|12|||pc"},
};

void build(TempRoot& root, const Distribution& distribution) {
  root.file("usr/lib/os-release", distribution.osRelease)
      .link("etc/os-release", "../usr/lib/os-release");
  for (const auto& [path, content] : distribution.otherFiles) root.file(path, content);
}

TEST(SystemInfo, RootsAsDistributionsWriteThem) {
  QuickRun program;
  for (const Distribution& distribution : kDistributions) {
    SCOPED_TRACE(distribution.what);
    TempRoot root;
    build(root, distribution);
    EXPECT_EQ(showOs(program.type(1, {"env=" + root.path()})), distribution.want);
  }
}

TEST(SystemInfo, WithoutOsReleaseTheRunningSystemsFilesNameIt) {
  TempRoot root;
  root.file("etc/redhat-release", "CentOS release 6.10 (Final)\n")
      .file("etc/issue", "CentOS release 6.10 (Final)\nKernel \\r on an \\m\n")
      .file("etc/system-release-cpe", "cpe:/o:centos:linux:6:GA\n");
  // As the machine itself: the root's etc in place of the real one.
  const auto body = [&root] {
    ASSERT_EQ(::mount(root.path("etc").c_str(), "/etc", nullptr, MS_BIND, nullptr), 0);
    EXPECT_EQ(showOs(QuickRun().type(1)), "centos|6.10|||server");
    root.remove("etc/redhat-release");
    root.remove("etc/system-release-cpe");
    root.file("etc/issue", "Red Hat 5 \\n\n");
    EXPECT_EQ(showOs(QuickRun().type(1)), "redhat|5|||server");
    root.remove("etc/issue");
    EXPECT_EQ(showOs(QuickRun().type(1)), "linux||||");
  };
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, body));
}

constexpr const char* kKeys[] = {"host_name",
                                 "os_name",
                                 "os_version",
                                 "kernel_version",
                                 "os_version_codename",
                                 "os_update_version",
                                 "os_edition_version",
                                 "os_language",
                                 "host_type",
                                 "os_architecture",
                                 "uname",
                                 "up_time",
                                 "vendor",
                                 "distribution",
                                 "serial",
                                 "agentid",
                                 "os_manufacturer",
                                 "uuid",
                                 "install_time",
                                 "interfaces",
                                 "patches",
                                 "motherboard",
                                 "sound_card",
                                 "memory_info",
                                 "video_card",
                                 "monitor",
                                 "disk_detail_info"};

TEST(SystemInfo, ThisMachine) {
  QuickRun program;
  program.environment("LANG", "C.UTF-8");
  const ProgramResult result = program.type(1);
  ASSERT_TRUE(result.hasDocument) << result.log;
  EXPECT_EQ(result.out, std::to_string(result.document.size()));
  const JsonHandle document = parsed(result);
  std::vector<std::string> keys;
  for (const cJSON* item = document->child; item; item = item->next) keys.push_back(item->string);
  EXPECT_EQ(keys, std::vector<std::string>(std::begin(kKeys), std::end(kKeys)));

  struct utsname name {};
  ASSERT_EQ(::uname(&name), 0);
  EXPECT_EQ(text(document.get(), "host_name"), name.nodename);
  EXPECT_EQ(text(document.get(), "kernel_version"), name.release);
  EXPECT_EQ(text(document.get(), "os_architecture"), name.machine);
  EXPECT_EQ(text(document.get(), "uname"), std::string(name.sysname) + " " + name.nodename + " " +
                                               text(document.get(), "os_version") + " " +
                                               name.version + " " + name.machine);
  const std::string uptime = readWhole("/proc/uptime");
  const double boot =
      static_cast<double>(std::time(nullptr)) - std::strtod(uptime.c_str(), nullptr);
  EXPECT_NEAR(std::strtod(text(document.get(), "up_time").c_str(), nullptr), boot, 2.0);
  EXPECT_EQ(text(document.get(), "install_time"), "");
}

// "product|manufacturer|serial|uuid|motherboard|disks"
std::string showHardware(const ProgramResult& result) {
  const JsonHandle document = parsed(result);
  std::string shown;
  for (const char* key : {"distribution", "os_manufacturer", "serial", "uuid"}) {
    shown += text(document.get(), key) + "|";
  }
  const cJSON* board = cJSON_GetObjectItemCaseSensitive(document.get(), "motherboard");
  for (const char* key : {"model", "manufacturer", "serial_number", "version"}) {
    shown += text(board, key) + "|";
  }
  const cJSON* disks = cJSON_GetObjectItemCaseSensitive(document.get(), "disk_detail_info");
  const cJSON* disk = nullptr;
  cJSON_ArrayForEach(disk, disks) {
    for (const char* key : {"name", "model", "serial", "size"}) shown += text(disk, key) + "|";
  }
  return shown;
}

constexpr const char* kDmidecode =
    "case \"$*\" in\n"
    "'-s system-product-name') printf '# a comment\\n\\n \\nPowerEdge R740 \\n';;\n"
    "'-s system-manufacturer') echo 'Dell Inc.';;\n"
    "'-s system-serial-number') echo '4XYZ12';;\n"
    "'-s system-uuid') echo '4c4c4544-0000';;\n"
    "'-t system') printf 'Handle 1\\n\\tManufacturer: Dell Inc.\\n\\tProduct Name: R740\\n'\n"
    "  printf '\\tVersion: 1\\n\\tSerial Number: 4XYZ12\\n\\n\\tVersion: 2\\n';;\n"
    "esac\n";
constexpr const char* kLsblk =
    "case \"$*\" in\n"
    "'-dno MODEL /dev/sdz') echo 'ST1000 DM';;\n"
    "'--nodeps -no serial /dev/sdz') echo;;\n"
    "*) echo \"unexpected: $*\";;\n"
    "esac\n";

// One disk of which the files tell nothing but the size, in the place of the
// real ones.
void onlyOneDisk(TempRoot& block) {
  block.file("sdz/size", "1953525168\n");
  ASSERT_EQ(::mount(block.path().c_str(), "/sys/block", nullptr, MS_BIND, nullptr), 0);
}

struct HardwareCase {
  const char *what, *dmidecode, *lsblk, *filter, *want;
};

void expectHardware(const HardwareCase& c) {
  SCOPED_TRACE(c.what);
  const auto body = [&c] {
    TempRoot fakes;
    TempRoot block;
    onlyOneDisk(block);
    ASSERT_TRUE(replaceProgram(fakes, "dmidecode", c.dmidecode));
    ASSERT_TRUE(replaceProgram(fakes, "lsblk", c.lsblk));
    QuickRun program;
    if (*c.filter) program.tree().file("config/soft_app_filter.json", c.filter);
    program.environment("PATH", fakes.path() + ":/usr/bin:/bin:/usr/sbin");
    const ProgramResult result = program.type(1);
    EXPECT_EQ(showHardware(result), c.want) << result.messages();
  };
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNS, body));
}

TEST(SystemInfo, HardwareAsItsCommandsTell) {
  const std::string noise = "yes '# noise' | head -c 10485760\n";
  const HardwareCase cases[] = {
      {"both answer", kDmidecode, kLsblk, "",
       "PowerEdge R740|dell inc.|4XYZ12|4c4c4544-0000|R740|Dell Inc.|4XYZ12|2|"
       "sdz|ST1000 DM\n||931.51 GB|"},
      {"forbidden", kDmidecode, kLsblk, "{\"cmd_disable\":[\"dmidecode\",\"lsblk\"]}",
       "||||||||sdz|||931.51 GB|"},
      {"failing", "echo 'broken' >&2; exit 1", "exit 1", "", "||||||||sdz|||931.51 GB|"},
      {"10 MiB of comments", noise.c_str(), "yes '' | head -c 10485760", "",
       "||||||||sdz|||931.51 GB|"},
      {"10 MiB without a line end", "case $1 in -t) head -c 10485760 /dev/zero | tr '\\0' x;; esac",
       "exit 1", "", "||||||||sdz|||931.51 GB|"},
  };
  for (const HardwareCase& c : cases) expectHardware(c);
}

TEST(SystemInfo, HardwareOfAMountedRootComesFromItsPrograms) {
  TempRoot root;
  for (const char* name : {"/bin/sh", "/bin/bash"}) copyProgram(root, name);
  root.file("usr/sbin/dmidecode", std::string("#!/bin/sh\n") + kDmidecode, 0755)
      .file("usr/bin/lsblk", std::string("#!/bin/sh\n") + kLsblk, 0755)
      .file("sys/block/sdz/size", "1953525168\n")
      .file("sys/class/dmi/id/chassis_vendor", "Some Vendor\n")
      .file("etc/profile", "export LANG=de_DE.UTF-8\n")
      .dir("dev");
  const ProgramResult result = QuickRun().type(1, {"env=" + root.path()});
  EXPECT_EQ(showHardware(result),
            "PowerEdge R740|dell inc.|4XYZ12|4c4c4544-0000|R740|Dell Inc.|4XYZ12|2|"
            "sdz|ST1000 DM\n||931.51 GB|")
      << result.messages();
  EXPECT_EQ(text(parsed(result).get(), "vendor"), "some");
  EXPECT_EQ(text(parsed(result).get(), "os_language"), "de_de.utf-8");
}

// Waits for the limit of one command: half a minute in which nothing runs.
TEST(SystemInfo, HangingDmidecodeCostsItsOwnFieldsOnly) {
  const std::string hanging = "case $1 in -t) sleep 600;; esac\n" + std::string(kDmidecode);
  expectHardware({"hanging", hanging.c_str(), kLsblk, "",
                  "PowerEdge R740|dell inc.|4XYZ12|4c4c4544-0000|||||"
                  "sdz|ST1000 DM\n||931.51 GB|"});
}

}  // namespace
}  // namespace LedgoraCollect
