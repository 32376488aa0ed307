#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "common/support/IniFile.h"
#include "support/PeakMemory.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

TEST(IniFile, ReadsLimitsAndUnitFilesAsTheyAreWritten) {
  const struct {
    const char* what;
    std::string text, section, key, want;
  } cases[] = {
      {"limit", "[host_limit]\nport = 128 \r\n", "host_limit", "port", "128"},
      {"first of repeated", "[Service]\nExecStart=/a\nExecStart=/b\n", "Service", "ExecStart",
       "/a"},
      {"empty forgets", "[Service]\nExecStart=/a\nExecStart=\nExecStart=/c\n", "Service",
       "ExecStart", "/c"},
      {"empty at the end", "[host_limit]\nport=5\nport=\n", "host_limit", "port", "-"},
      {"key of another section", "[Unit]\nUser=a\n[Service]\n", "Service", "User", "-"},
      {"section that comes back", "[A]\n[B]\nk=b\n[A]\nk=a", "A", "k", "a"},
      {"case counts", "[service]\nuser=a\n[Service]\nUSER=b\n", "Service", "User", "-"},
      {"quotes stay", "[S]\nk=\"a b\" 'c'\n", "S", "k", "\"a b\" 'c'"},
      {"further equals signs", "[S]\nEnvironment=\"A=b\"\n", "S", "Environment", "\"A=b\""},
      {"comments", "[S]\n#k=1\n ;k=2\nk=3 # no comment\n", "S", "k", "3 # no comment"},
      {"goes on", "[S]\nk=/bin/a \\\n   -x\\\n-y\nz=1", "S", "k", "/bin/a -x -y"},
      {"goes on over a comment", "[S]\nk=a\\\n# no \\\nb\n", "S", "k", "a b"},
      {"goes on with CR", "[S]\r\nk=a\\\r\nb\r\n", "S", "k", "a b"},
      {"key in what went on", "[S]\na=1\\\nk=2\n", "S", "k", "-"},
      {"backslash at the end of the file", "[S]\nk=a\\", "S", "k", "a"},
      {"no section head", "k=1\n[S\nk=2\n", "S", "k", "-"},
      {"byte order mark", "\xEF\xBB\xBF[S]\nk=1\n", "S", "k", "1"},
      {"no assignment", "[S]\nk\n=\n", "S", "k", "-"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::string value;
    EXPECT_EQ(findIniValue(c.text, c.section, c.key, value) ? value : "-", c.want);
  }
}

TEST(IniFile, LoadedValuesStayUntilTheHandleGoes) {
  TempRoot root;
  root.file("ok.ini", "[a]\none=1\ntwo=2\n").fifo("fifo");
  void* const ini = ini_file_load(root.path("ok.ini").c_str());
  ASSERT_NE(ini, nullptr);
  const char* const one = ini_file_get(ini, "a", "one");
  EXPECT_STREQ(ini_file_get(ini, "a", "two"), "2");
  EXPECT_EQ(ini_file_get(ini, "a", "three"), nullptr);
  EXPECT_STREQ(one, "1");
  EXPECT_EQ(ini_file_get(ini, "a", "one"), one);
  ini_file_free(ini);
  EXPECT_EQ(ini_file_load(root.path("fifo").c_str()), nullptr);
  EXPECT_EQ(ini_file_load(root.path("none").c_str()), nullptr);
  EXPECT_EQ(ini_file_get(nullptr, "a", "b"), nullptr);
}

TEST(IniFile, HugeFilesCostNoMemory) {
  TempRoot root;
  root.file("huge.ini", "[a]\nk=1\n").file("keys.ini");
  ASSERT_EQ(::truncate(root.path("huge.ini").c_str(), 100L * 1024 * 1024), 0);
  std::string keys = "[a]\n";
  for (int i = 0; keys.size() < kIniFileBytes - 16; ++i) keys += std::to_string(i) + "=\n";
  keys += "k=1\n";
  root.file("keys.ini", keys);
  EXPECT_LT(LedgoraTest::peakMemoryKib(
                [&root] { return ini_file_load(root.path("huge.ini").c_str()) == nullptr; }),
            8 * 1024);
  EXPECT_LT(LedgoraTest::peakMemoryKib([&root] {
              return std::string(ini_file_get(ini_file_load(root.path("keys.ini").c_str()), "a",
                                              "k")) == "1";
            }),
            20 * 1024);
}
