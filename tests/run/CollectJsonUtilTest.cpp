#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "common/support/Cipher.h"
#include "common/support/Handles.h"
#include "run/CollectJsonUtil.h"
#include "support/PeakMemory.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

namespace {

std::string enciphered(const std::string& plain) {
  std::string content;
  EXPECT_TRUE(encipherFileContent(plain, defaultCipherParameters(), content));
  return content;
}

/// The tree as text, "null" where there is none.
std::string parsed(const TempRoot& root, const char* name) {
  const JsonHandle tree(ParseJsonFile(root.path(name).c_str()));
  const MallocText text(tree ? cJSON_PrintUnformatted(tree.get()) : nullptr);
  return text ? text.get() : "null";
}

}  // namespace

TEST(ParseJsonFile, ReadsBothFormsAndRefusesTheRest) {
  TempRoot root;
  const std::string good = enciphered("{\"a\":[1,\"b\"]}");
  const struct {
    const char* what;
    std::string content, want;
  } cases[] = {
      {"plain", "{\"a\": 1}\n", "{\"a\":1}"},
      {"array at top", "[1, 2]", "[1,2]"},
      {"commas in text aren't values", "[\"" + std::string(1100000, ',') + "\\\",,\"]",
       "[\"" + std::string(1100000, ',') + "\\\",,\"]"},
      {"enciphered", good, "{\"a\":[1,\"b\"]}"},
      {"enciphered empty text", enciphered(""), "null"},
      {"broken behind a correct cipher", enciphered("{\"a\":"), "null"},
      {"header alone", good.substr(0, 16), "null"},
      {"cut", good.substr(0, good.size() - 1), "null"},
      {"longer", good + "x", "null"},
      {"empty", "", "null"},
      {"broken", "{\"a\":", "null"},
      {"too many values", "[" + std::string(1000000, '['), "null"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    root.file("x.json", c.content);
    EXPECT_EQ(parsed(root, "x.json"), c.want);
  }
  root.fifo("fifo").dir("dir");
  for (const char* name : {"missing", "fifo", "dir"}) EXPECT_EQ(parsed(root, name), "null") << name;
}

TEST(ParseJsonFile, EnciphersTheSameTextDifferentlyEachTime) {
  EXPECT_NE(enciphered("{}"), enciphered("{}"));
}

TEST(ParseJsonFile, AnyFlippedBitOfAnEncipheredFileIsNoticed) {
  TempRoot root;
  const std::string good = enciphered("{\"key\":\"value\"}");
  root.file("good", good);
  ASSERT_NE(file_is_enc(root.path("good").c_str()), 0);
  for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
    std::string changed = good;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
    root.file("changed", changed);
    EXPECT_EQ(parsed(root, "changed"), "null") << "bit " << bit;
  }
}

TEST(ParseJsonFile, DeepAndHugeFilesCostLittleMemory) {
  TempRoot root;
  root.file("deep", std::string(100000, '[') + std::string(100000, ']'))
      .file("deepObject",
            [] {
              std::string text;
              for (int i = 0; i < 100000; ++i) text += "{\"a\":";
              return text;
            }())
      .file("huge", "[1]");
  ASSERT_EQ(::truncate(root.path("huge").c_str(), 65L * 1024 * 1024), 0);
  EXPECT_LT(LedgoraTest::peakMemoryKib([&root] {
              return parsed(root, "deep") == "null" && parsed(root, "deepObject") == "null" &&
                     parsed(root, "huge") == "null";
            }),
            8192);
}

TEST(Decrypt, TakesKnownParametersOnly) {
  const std::string content = enciphered("{}");
  const char* const data = content.data() + kCipherHeaderBytes;
  const std::size_t length = content.size() - kCipherHeaderBytes;
  const storage_crypto_param_s good = defaultCipherParameters();
  const MallocText plain(storage_aes_decrypt(data, length, &good));
  EXPECT_STREQ(plain.get(), "{}");
  storage_crypto_param_s changed[] = {good, good, good, good, good};
  changed[0].name = "other";
  changed[1].key = "short";
  changed[2].key = "Kd7vRmXq2LtBw9ZsHn4FcYpJ6gAeU3Tx";
  changed[3].keyForm = 1;
  changed[4].authenticated = 0;
  for (const auto& parameters : changed) {
    EXPECT_EQ(MallocText(storage_aes_decrypt(data, length, &parameters)), nullptr);
  }
  EXPECT_EQ(MallocText(storage_aes_decrypt(data, 27, &good)), nullptr);
}
