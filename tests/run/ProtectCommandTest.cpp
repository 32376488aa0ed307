#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "common/support/Cipher.h"
#include "common/support/Handles.h"
#include "run/ProtectCommand.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

namespace {

/// Exit status and what was written to standard output and error. Arguments
/// that name something in the tree begin with "/".
std::string protect(const TempRoot& root, const std::vector<std::string>& arguments) {
  std::vector<std::string> texts{"ledgora_protect"};
  for (const std::string& text : arguments) {
    texts.push_back(text[0] == '/' ? root.path(text) : text);
  }
  std::vector<const char*> pointers;
  for (const std::string& text : texts) pointers.push_back(text.c_str());
  char* written = nullptr;
  std::size_t size = 0;
  int status = 0;
  {
    const FileHandle stream(::open_memstream(&written, &size));
    status = protectCommand(static_cast<int>(pointers.size()), pointers.data(), stream.get(),
                            stream.get());
  }
  const MallocText owner(written);
  return std::to_string(status) + " " + std::string(written, size);
}

unsigned modeOf(const TempRoot& root, const char* name) {
  struct stat info {};
  return ::lstat(root.path(name).c_str(), &info) == 0 ? info.st_mode : 0;
}

}  // namespace

TEST(ProtectCommand, ThereAndBack) {
  TempRoot root;
  root.file("in.json", "{\"a\": 1}\n").file("old", "old", 0600).file("victim", "keep");
  root.link("link", root.path("victim"));
  EXPECT_EQ(protect(root, {"/in.json", "/out"}), "0 ");
  EXPECT_NE(file_is_enc(root.path("out").c_str()), 0);
  EXPECT_EQ(modeOf(root, "out") & 0777U, 0640U);
  EXPECT_EQ(protect(root, {"--plain", "/out", "/old"}), "0 ");
  EXPECT_EQ(root.read("old"), "{\"a\": 1}\n");
  EXPECT_EQ(modeOf(root, "old") & 0777U, 0600U);
  EXPECT_EQ(protect(root, {"/in.json", "/in.json"}), "0 ");
  EXPECT_EQ(protect(root, {"/old", "/link"}), "0 ");
  EXPECT_EQ(root.read("victim"), "keep");
  EXPECT_TRUE(S_ISREG(modeOf(root, "link")));
}

TEST(ProtectCommand, RefusalsSayWhyAndLeaveTheOutputAlone) {
  TempRoot root;
  root.file("good", "{}").file("bad", "{").file("out", "untouched").dir("dir").fifo("fifo");
  ASSERT_EQ(protect(root, {"/good", "/enc"}), "0 ");
  std::string cut = root.read("enc");
  cut.pop_back();
  root.file("cut", cut);
  const struct {
    std::vector<std::string> arguments;
    const char* want;
  } cases[] = {
      {{}, "2 ledgora_protect: IN and OUT are needed"},
      {{"/good"}, "2 ledgora_protect: IN and OUT are needed"},
      {{"--clear", "/good", "/out"}, "2 ledgora_protect: unknown option --clear"},
      {{"--help"}, "0 Usage: ledgora_protect IN OUT"},
      {{"/none", "/out"}, ": No such file or directory"},
      {{"/fifo", "/out"}, ": is not a regular file"},
      {{"/dir", "/out"}, ": is not a regular file"},
      {{"/bad", "/out"}, ": is not valid JSON"},
      {{"/enc", "/out"}, ": is enciphered already"},
      {{"--plain", "/good", "/out"}, ": is not an enciphered file"},
      {{"--plain", "/cut", "/out"}, ": can't be deciphered"},
      {{"/good", "/dir"}, ": Is a directory"},
      {{"/good", "/none/out"}, ": No such file or directory"},
  };
  for (const auto& c : cases) {
    const std::string shown = protect(root, c.arguments);
    EXPECT_NE(shown.find(c.want), std::string::npos) << shown;
    EXPECT_EQ(shown[0], c.want[0] == ':' ? '1' : c.want[0]) << shown;
  }
  EXPECT_EQ(root.read("out"), "untouched");
}
