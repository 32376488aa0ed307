#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/RegexUtils.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using Strings = std::vector<std::string>;

namespace {

std::string one(std::string text, const std::string& expression) {
  std::string result = "(unchanged)";
  return regex_interface(text, result, expression) ? result : "no: " + result;
}

}  // namespace

TEST(Regex, AllValuesInTheirOrder) {
  const struct {
    const char *what, *text, *expression;
    Strings want;
  } cases[] = {
      {"match and group", "v1 v22", "v([0-9]+)", {"v1", "1", "v22", "22"}},
      {"unset and empty groups leave no slot", "ab", "(x)?(a)()(b)", {"ab", "a", "b"}},
      {"empty group", "a", "(b*)a", {"a"}},
      {"empty matches advance", "axxb", "x*", {"xx"}},
      {"anchor sees the whole text", "aaa", "^a", {"a"}},
      {"look-behind sees what was matched", "aab", "(?<=a)[ab]", {"a", "b"}},
      {"a group may end behind its match", "abcd", "a(?=(bcd))|c", {"a", "bcd"}},
      {"a match whose start was moved", "foobar", "foo\\Kbar", {"bar"}},
      {"line by line", "a=1\nb=2\n", "(?m)^(\\w)=", {"a=", "a", "b=", "b"}},
      {"does not compile", "a", "(", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::string text = c.text;
    Strings results;
    EXPECT_EQ(regexInterfaceGetAll(text, results, c.expression),
              *c.expression != '(' || c.expression[1] != '\0');
    EXPECT_EQ(results, c.want);
  }
  std::string text, some = "a";
  Strings results{"kept"};
  EXPECT_FALSE(regexInterfaceGetAll(text, results, "a"));
  EXPECT_FALSE(regexInterfaceGetAll(some, results, ""));
  EXPECT_TRUE(regexInterfaceGetAll(some, results, "b"));
  EXPECT_EQ(results, Strings{"kept"});
}

TEST(Regex, OneValueIsTheSecondOrTheOnly) {
  EXPECT_EQ(one("version 1.2.3", "version ([0-9.]+)"), "1.2.3");
  EXPECT_EQ(one("1.2 and 3.4", "[0-9.]+"), "3.4");
  EXPECT_EQ(one("only 1.2", "[0-9.]+"), "1.2");
  EXPECT_EQ(one("none", "[0-9.]+"), "no: (unchanged)");
  EXPECT_EQ(one(std::string("a\0v7", 4), "v([0-9])"), "7");
  std::string text = "x";
  EXPECT_TRUE(regex_match(text, ""));
  EXPECT_FALSE(regex_match(text, "("));
  std::string empty;
  EXPECT_TRUE(regex_match(empty, "^$"));
}

TEST(Regex, LongTextsAreSearchedToTheEnd) {
  // Longer than several windows of the search, with what is looked for on their borders.
  for (const std::size_t at : {65535U, 65536U, 65537U, 200000U, 1299990U}) {
    std::string text(1300000, 'a');
    text.replace(at, 3, "v42");
    EXPECT_EQ(one(text, "v([0-9]+)"), "42") << at;
    EXPECT_EQ(one(text, "(?i)V([0-9]+)"), "42") << at;
    EXPECT_EQ(one(text, "(?<=[^v]v)[0-9]+"), "42") << at;
    EXPECT_EQ(one(text, "(*UTF)[^a](\\d+)"), "42") << at;
  }
  std::string umlauts;
  for (int i = 0; i < 100000; ++i) umlauts += "\xc3\xa4";
  EXPECT_EQ(one(umlauts + "b", "(*UTF)[^\\x{e4}]"), "b");
  std::string text(1300000, 'a');
  EXPECT_TRUE(regex_match(text, "$"));
  text[65536] = 'v';
  EXPECT_FALSE(regex_match(text, "\\Gv")) << "only where the search begins";
  EXPECT_FALSE(regex_match(text, "b"));
}

// The engine scans for a first byte to the end of the text, not of its window: a text without
// one must still be read once, so that the time suffices to find what stands at its end.
TEST(Regex, RareFirstBytesInALargeText) {
  const std::string text(20 << 20, ' ');
  EXPECT_EQ(one(text + "Zone=5", "[A-Z][a-z]+=([0-9])"), "5");
  EXPECT_EQ(one(text + "zone=5", "(?i)ZONE=([0-9])"), "5");
  EXPECT_EQ(one(text + "zone=5", "(?:zone|place)=([0-9])"), "5");
}

TEST(Regex, ThatBacktracksForeverCountsAsNotMatched) {
  // Without limits each of these takes hours.
  const struct {
    std::string text, expression;
  } cases[] = {
      {std::string(60, 'a') + "b", "^(a+)+$"},       {std::string(1 << 20, 'a'), "(a*)*[bc]"},
      {std::string(1 << 20, 'x'), "(x+x+)+[yz]"},    {std::string(20 << 20, 'a'), "a*a*a*[bc]"},
      {std::string(20 << 20, '('), "(\\((?1)*\\))"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expression);
    std::string text = c.text, result;
    EXPECT_FALSE(regex_interface(text, result, c.expression));
  }
}

TEST(Regex, OfAFile) {
  LedgoraTest::TempRoot root;
  root.file("release", "JAVA_VERSION=\"17.0.1\"\n")
      .file("zero", std::string_view("a\0JAVA_VERSION=\"9\"", 19))
      .file("long", std::string(0x1400000, ' ') + "JAVA_VERSION=\"9\"")
      .file("empty")
      .fifo("fifo");
  std::string expression = "JAVA_VERSION=\"([^\"]+)\"";
  for (const char* name : {"zero", "long", "empty", "fifo", "missing", ""}) {
    std::string path = *name == '\0' ? "" : root.path(name), result;
    EXPECT_FALSE(regexMatchFileContent(path, expression, result)) << name;
  }
  Strings paths{root.path("missing"), root.path("zero"), root.path("release")};
  EXPECT_EQ(findFileValueByRegex(paths, expression.c_str()), "17.0.1");
  paths.pop_back();
  EXPECT_EQ(findFileValueByRegex(paths, expression.c_str()), "");
}
