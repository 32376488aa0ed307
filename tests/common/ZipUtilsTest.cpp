#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "common/ZipUtils.h"
#include "support/PeakMemory.h"
#include "support/TempRoot.h"
#include "support/ZipBuilder.h"

using LedgoraCollect::ZipUtils;
using LedgoraTest::TempRoot;
using LedgoraTest::ZipBuilder;

namespace {

constexpr char kManifest[] = "META-INF/MANIFEST.MF";

/// Result and text of a read into a zeroed buffer of 8,192 bytes.
std::string readMember(const TempRoot& root, const char* zip, const char* member) {
  char buffer[8193] = {};
  const int result = ZipUtils::unZipToMem(root.path(zip).c_str(), member, buffer, 8192);
  return std::to_string(result) + " " + buffer;
}

}  // namespace

TEST(ZipUtils, ReadsOneMember) {
  TempRoot root;
  ZipBuilder(root.path("a.jar"))
      .add("META-INF/", "")
      .add(kManifest, "Implementation-Version: 1.2.3\r\n")
      .add("stored", "as it is", 0)
      .add("empty", "");
  root.file("prefix.jar", "#!/bin/sh\n" + std::string("PK\5\6", 4) + std::string(18, '\0'));
  ZipBuilder(root.path("none.jar")).add("meta-inf/manifest.mf", "x");
  ZipBuilder(root.path("no-entries.jar")).close();
  root.file("text", "no zip file").file("empty").dir("dir").fifo("fifo");
  const struct {
    const char *zip, *member, *want;
  } cases[] = {
      {"a.jar", kManifest, "0 Implementation-Version: 1.2.3\r\n"},
      {"a.jar", "stored", "0 as it is"},
      {"a.jar", "empty", "0 "},
      {"a.jar", "STORED", "-100 "},
      {"none.jar", kManifest, "-100 "},
      {"no-entries.jar", kManifest, "0 "},
      {"prefix.jar", kManifest, "0 "},
      {"text", kManifest, "-1 "},
      {"empty", kManifest, "-1 "},
      {"dir", kManifest, "-1 "},
      {"fifo", kManifest, "-1 "},
      {"missing", kManifest, "-1 "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.zip) + " " + c.member);
    EXPECT_EQ(readMember(root, c.zip, c.member), c.want);
  }
  char byte = 0;
  const std::string path = root.path("a.jar");
  EXPECT_EQ(ZipUtils::unZipToMem(nullptr, "stored", &byte, 1), -1);
  EXPECT_EQ(ZipUtils::unZipToMem(path.c_str(), nullptr, &byte, 1), -1);
  EXPECT_EQ(ZipUtils::unZipToMem(path.c_str(), "stored", nullptr, 1), -1);
  EXPECT_EQ(ZipUtils::unZipToMem(path.c_str(), "stored", &byte, 0), -1);
}

TEST(ZipUtils, ManifestIsCutAtItsSizeAndAtAZeroByte) {
  TempRoot root;
  ZipBuilder(root.path("long.jar")).add(kManifest, std::string(5000, 'm'));
  ZipBuilder(root.path("zero.jar")).add(kManifest, std::string("ab\0cd", 5));
  ZipBuilder(root.path("none.jar")).add("x", "y");
  std::string manifest;
  EXPECT_TRUE(ZipUtils::getManifest(root.path("long.jar").c_str(), manifest));
  EXPECT_EQ(manifest, std::string(4095, 'm'));
  EXPECT_TRUE(ZipUtils::getManifest(root.path("zero.jar").c_str(), manifest));
  EXPECT_EQ(manifest, "ab");
  EXPECT_FALSE(ZipUtils::getManifest(root.path("none.jar").c_str(), manifest));
}

TEST(ZipUtils, ListsAndExtracts) {
  TempRoot root;
  ZipBuilder(root.path("a.zip")).add("one", "1").add("dir/two", std::string(20000, '2'));
  std::vector<std::string> names;
  EXPECT_EQ(ZipUtils::getZipFileList(root.path("a.zip"), names), 0);
  EXPECT_EQ(names, (std::vector<std::string>{"one", "dir/two"}));
  EXPECT_EQ(ZipUtils::getZipFileList(root.path("none"), names), -1);
  const std::string zip = root.path("a.zip");
  EXPECT_EQ(ZipUtils::unZipToFile(zip.c_str(), "dir/two", root.path("x/y/two").c_str(), nullptr),
            0);
  EXPECT_EQ(root.read("x/y/two"), std::string(20000, '2'));
  EXPECT_EQ(ZipUtils::unZipToFile(zip.c_str(), "three", root.path("x/three").c_str(), nullptr),
            -100);
  EXPECT_EQ(ZipUtils::unZipToFile(zip.c_str(), "one", root.path("a.zip/x").c_str(), nullptr), -1);
}

TEST(ZipUtils, TruncatedAndChangedArchivesFailOrReadButNeverCrash) {
  TempRoot root;
  ZipBuilder(root.path("whole.jar")).add("first", "1").add(kManifest, "Manifest-Version: 1.0\n");
  const std::string whole = root.read("whole.jar");
  for (std::size_t length = 0; length < whole.size(); ++length) {
    root.file("cut.jar", whole.substr(0, length));
    // Without its last bytes the end record still tells where all entries are.
    const std::string text = readMember(root, "cut.jar", kManifest);
    EXPECT_TRUE(text == "0 Manifest-Version: 1.0\n" ? length > whole.size() - 12 : text[0] == '-')
        << length << ": " << text;
  }
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string changed = whole;
    changed[at] = static_cast<char>(~changed[at]);
    root.file("changed.jar", changed);
    readMember(root, "changed.jar", kManifest);
    std::vector<std::string> names;
    ZipUtils::getZipFileList(root.path("changed.jar"), names);
    EXPECT_LT(names.size(), 3U);
  }
}

TEST(ZipUtils, BombsAndHugeDirectoriesCostNoMemory) {
  TempRoot root;
  ZipBuilder(root.path("bomb.jar")).add(kManifest, std::string(1 << 20, 'b'), 1, 64);
  {
    ZipBuilder many(root.path("many.jar"));
    for (int i = 0; i < 100000; ++i) many.add("entry" + std::to_string(i), "", 0);
    many.add(kManifest, "at the end").close();
  }
  EXPECT_LT(LedgoraTest::peakMemoryKib([&root] {
              std::string manifest;
              return ZipUtils::getManifest(root.path("bomb.jar").c_str(), manifest) &&
                     manifest == std::string(4095, 'b') &&
                     ZipUtils::getManifest(root.path("many.jar").c_str(), manifest) &&
                     manifest == "at the end";
            }),
            4096);
}
