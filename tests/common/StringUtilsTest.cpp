#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/StringUtils.h"

using LedgoraCollect::StringUtils;
using Strings = std::vector<std::string>;

TEST(StringUtils, ReplacesAndScansTheNewText) {
  const struct {
    const char *what, *text, *from, *to, *want;
  } cases[] = {
      {"nothing put in", "aXbXc", "X", "", "abc"},
      {"runs collapse", "a////b//c/", "//", "/", "a/b/c/"},
      {"new text and what follows match together", "aXbbb", "Xb", "X", "aX"},
      {"what stands before the match isn't looked at again", "aXbb", "Xb", "", "ab"},
      {"nothing to find", "abc", "", "x", "abc"},
      {"a replacement that holds the text ends", "k=$v;$v", "$v", "<$v>", "k=<$v>;<$v>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(StringUtils::replaceAllStr(c.text, c.from, c.to), c.want);
  }
}

TEST(StringUtils, CollapsesALongRunInOnePass) {
  const std::string slashes(4 << 20, '/');  // quadratic work would take minutes
  EXPECT_EQ(StringUtils::replaceAllStr(slashes, "//", "/"), "/");
}

TEST(StringUtils, SplitsAndTrims) {
  const struct {
    const char *what, *text, *separator;
    Strings dropped, kept;
  } cases[] = {
      {"blanks", "a, b,,c,", ",", {"a", "b", "c"}, {"a", "b", "", "c"}},
      {"blanks alone", " ", ",", {}, {""}},
      {"separator alone", ",", ",", {}, {""}},
      {"long separator", "a\t::\r\n::b::", "::", {"a", "b"}, {"a", "", "b"}},
      {"no separator", " a ", "", {" a "}, {" a "}},
      {"nothing", "", ",", {}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(StringUtils::split(c.text, c.separator, true), c.dropped);
    EXPECT_EQ(StringUtils::split(c.text, c.separator, false), c.kept);
  }
  EXPECT_EQ(StringUtils::trim("\"a b\"", "\""), "a b");
  EXPECT_EQ(StringUtils::trim("   ", " "), "");
  EXPECT_EQ(StringUtils::trim(" a ", ""), " a ");
}

TEST(StringUtils, TellsTextsApart) {
  Strings needles{"java", "Node"};
  EXPECT_TRUE(StringUtils::findInString(needles, "/opt/java/bin"));
  EXPECT_FALSE(StringUtils::findInString(needles, "JAVA node"));
  Strings withEmpty{""};
  EXPECT_TRUE(StringUtils::findInString(withEmpty, "x"));
  EXPECT_FALSE(StringUtils::findInString(withEmpty, ""));
  EXPECT_TRUE(StringUtils::noCaseEqualInStrings(needles, "nODE"));
  EXPECT_FALSE(StringUtils::noCaseEqualInStrings(needles, "nodejs"));
  EXPECT_FALSE(StringUtils::noCaseEqualInStrings(withEmpty, ""));

  EXPECT_FALSE(StringUtils::isIllegalString(""));
  EXPECT_FALSE(StringUtils::isIllegalString("a b~!"));
  for (const char* text : {"a\tb", "\x7f", "\xc3\xa9", "\n"}) {
    EXPECT_TRUE(StringUtils::isIllegalString(text));
  }
  std::string text = "ABC-\xc3\x89z";
  StringUtils::lower(text);
  EXPECT_EQ(text, "abc-\xc3\x89z");
}

TEST(StringUtils, Md5EndsAtTheFirstZeroByte) {
  std::string empty, abc = "abc", cut("abc\0def", 7);
  EXPECT_EQ(StringUtils::getMd5Str(empty), "");
  EXPECT_EQ(StringUtils::getMd5Str(abc), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(StringUtils::getMd5Str(cut), "900150983cd24fb0d6963f7d28e17f72");
}
