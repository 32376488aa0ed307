#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "common/support/BoundedString.h"
#include "common/support/InstallPath.h"
#include "common/support/JsonLayer.h"
#include "common/support/Md5.h"
#include "common/support/PlainFile.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

TEST(BoundedString, AlwaysTerminatesWithinItsSize) {
  char buffer[8];
  std::memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(str_snprintf(buffer, 5, "%s", "abcdefgh"), 8);
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(buffer[5], '#');
  EXPECT_LT(str_snprintf(buffer, 0, "x"), 0);
  str_strlcpy(buffer, "123456789", 4);
  EXPECT_STREQ(buffer, "123");
  str_strlcpy(buffer, "", sizeof buffer);
  EXPECT_STREQ(buffer, "");
}

TEST(InstallPath, AtSignIsTheProgramsDirectory) {
  char program[4096] = {};
  ASSERT_GT(::readlink("/proc/self/exe", program, sizeof program - 1), 0);
  const std::string directory = std::string(program).substr(0, std::string(program).rfind('/'));
  const struct {
    const char* in;
    std::string want;
  } cases[] = {{"@/../var/log", directory + "/../var/log"},
               {"@/lloader", directory + "/lloader"},
               {"/var/@/x", "/var/@/x"},
               {"@home", "@home"}};
  char out[4096];
  for (const auto& c : cases) {
    dirutils_path_transform(c.in, out, sizeof out);
    EXPECT_EQ(out, c.want);
  }
  dirutils_path_transform("/too/long", out, 5);
  EXPECT_STREQ(out, "");
}

TEST(MakeDirectory, GivesZeroWheneverTheDirectoryIsThere) {
  TempRoot root;
  root.file("file").dir("real").link("linked", "real").link("dangling", "nowhere");
  const struct {
    const char* path;
    int want;
  } cases[] = {{"a/b/c", 0}, {"a/b/c", 0},   {"a/b//d/", 0},   {"linked/x", 0},
               {"file", -1}, {"file/x", -1}, {"dangling", -1}, {"dangling/x", -1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(dirutils_mkdir((root.path() + "/" + c.path).c_str(), 0755), c.want);
  }
  EXPECT_TRUE(root.exists("a/b/d"));
  EXPECT_TRUE(root.exists("real/x"));
  EXPECT_EQ(dirutils_mkdir("", 0755), -1);
}

TEST(PlainFile, OpensRegularFilesOnlyAndNeverBlocks) {
  TempRoot root;
  root.file("regular", "text").fifo("fifo").dir("dir");
  EXPECT_EQ(utf8_fopen(root.path("fifo").c_str(), "rb"), nullptr);
  EXPECT_EQ(utf8_fopen(root.path("dir").c_str(), "r"), nullptr);
  EXPECT_EQ(utf8_fopen("/dev/zero", "rb"), nullptr);
  const FileHandle proc(utf8_fopen("/proc/self/status", "r"));
  EXPECT_NE(proc, nullptr);
  const FileHandle regular(utf8_fopen(root.path("regular").c_str(), "rb"));
  ASSERT_NE(regular, nullptr);
  EXPECT_NE(::fcntl(::fileno(regular.get()), F_GETFD) & FD_CLOEXEC, 0);
  const FileHandle made(utf8_fopen(root.path("made").c_str(), "wb"));
  struct stat info {};
  ASSERT_EQ(::stat(root.path("made").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777U & ~0640U, 0U);
  EXPECT_NE(is_file_exist(root.path("fifo").c_str()), 0);
  EXPECT_EQ(is_file_exist(root.path("none").c_str()), 0);
}

TEST(ReadRegularFile, IsWholeUpToItsLimit) {
  TempRoot root;
  root.file("ten", "0123456789").file("empty");
  std::string text = "old";
  EXPECT_EQ(readRegularFile(root.path("ten").c_str(), 10, text), FileRead::Whole);
  EXPECT_EQ(text, "0123456789");
  EXPECT_EQ(readRegularFile(root.path("ten").c_str(), 9, text), FileRead::TooLarge);
  EXPECT_EQ(readRegularFile(root.path("empty").c_str(), 9, text), FileRead::Whole);
  EXPECT_EQ(text, "");
  EXPECT_EQ(readRegularFile(root.path("none").c_str(), 9, text), FileRead::Missing);
  // States a size of 0 and has more: the limit holds all the same.
  EXPECT_EQ(readRegularFile("/proc/self/status", 100, text), FileRead::TooLarge);
  EXPECT_EQ(readRegularFile("/proc/self/status", 1 << 20, text), FileRead::Whole);
  EXPECT_EQ(text.substr(0, 5), "Name:");
}

TEST(Md5, OfFilesAndOfPieces) {
  TempRoot root;
  root.file("empty").file("abc", "abc").file("long", std::string(200000, 'a')).fifo("fifo");
  const struct {
    const char* name;
    const char* want;
  } cases[] = {{"empty", "d41d8cd98f00b204e9800998ecf8427e"},
               {"abc", "900150983cd24fb0d6963f7d28e17f72"},
               {"long", "561b1994f6baacd6e5eaf4baaa12849f"},
               {"fifo", ""},
               {"none", ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    char out[33] = {};
    get_file_md5(root.path(c.name).c_str(), out, sizeof out);
    EXPECT_STREQ(out, c.want);
  }
  tess_md5_context context;
  unsigned char digest[kMd5DigestBytes];
  tess_md5_init(&context);
  tess_md5_update(&context, "a", 1);
  tess_md5_update(&context, "bc", 2);
  tess_md5_final(&context, digest);
  EXPECT_EQ(digest[0], 0x90);
  EXPECT_EQ(digest[15], 0x72);
}

namespace {

std::string printed(const cJSON* document) {
  const MallocText text(printJsonDocument(document));
  return text ? text.get() : "null";
}

}  // namespace

TEST(JsonLayer, DocumentsAreValidUtf8WhateverTheHostHolds) {
  const std::string bad = "\xEF\xBF\xBD";
  const struct {
    const char* what;
    std::string text, want;
  } cases[] = {
      {"valid stays", "gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80", "gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80"},
      {"latin-1", "gr\xFC\xDF", "gr" + bad + bad},
      {"each byte of a cut sequence", "\xE4\xB8", bad + bad},
      {"cut before a valid one", "\xE4\xB8\xC3\xBC", bad + bad + "\xC3\xBC"},
      {"surrogate", "\xED\xA0\x80", bad + bad + bad},
      {"quote behind a lead byte", "\xC3\"", bad + "\\\""},
      {"controls", "a\nb\x01", "a\\nb\\u0001"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const JsonHandle object(cJSON_CreateObject());
    cJSON_AddItemToObject(object.get(), c.text.c_str(),
                          cJSON_CreateString2(c.text.c_str(), object.get()));
    EXPECT_EQ(printed(object.get()), "{\"" + c.want + "\":\"" + c.want + "\"}");
  }
}

TEST(JsonLayer, ConstructorsGivePlainValuesAndNullItemsAreNoFault) {
  const JsonHandle object(cJSON_CreateObject());
  cJSON_AddItemToObject(object.get(), "number", cJSON_CreateNumber2(nullptr, 1722));
  cJSON_AddItemToObject(object.get(), "bool", cJSON_CreateBool2(1, nullptr));
  cJSON_AddItemToObject(object.get(), "missing", cJSON_CreateString2(nullptr, nullptr));
  cJSON_AddItemToObject(object.get(), "nothing", nullptr);
  cJSON_AddItemToArray(object.get(), nullptr);
  EXPECT_EQ(printed(object.get()).substr(0, 26), "{\"number\":1722,\"bool\":true");
  EXPECT_EQ(printed(nullptr), "null");
}
