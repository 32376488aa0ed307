#include <gtest/gtest.h>

#include "common/CommandWord.h"

namespace LedgoraCollect {
namespace {

using namespace std::string_view_literals;

TEST(CommandWord, WhatAValueCanBeTakenFor) {
  const struct {
    std::string_view value;
    bool unquoted;
    bool singleQuoted;
  } cases[] = {
      {"", true, true},
      {"/usr/sbin/nginx", true, true},
      {"/opt/my app/bin/x.y_z+1,2:3@4%5^6", true, true},
      {"/opt/a-b -x", false, true},  // an option of whatever is run
      {"-e", false, true},
      {" --pipe", false, true},
      {"a\t-x", false, true},
      {"/opt/ü/x", true, true},
      {"a;b", false, true},
      {"a&b", false, true},
      {"a|b", false, true},
      {"a<b", false, true},
      {"a>b", false, true},
      {"$HOME", false, true},
      {"`id`", false, true},
      {"a\\b", false, true},
      {"a\"b", false, true},
      {"a'b", false, false},
      {"a(b", false, true},
      {"a)b", false, true},
      {"{a,b}", false, true},
      {"a\nb", false, false},
      {"a\rb", false, false},
      {"a\0b"sv, false, false},
      {"/tmp/*", false, true},
      {"/tmp/?", false, true},
      {"/tmp/[ab]", false, true},
      {"~root/x", false, true},
      {"/a/x~", true, true},
      {"/a #b", false, true},
      {"/a/c#", true, true},
      {"LD_PRELOAD=/tmp/x.so /bin/true", false, true},
      {"/a/b=c", true, true},
      {"1=2", true, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    EXPECT_EQ(mayEnterCommandLine(c.value, CommandPlace::Unquoted), c.unquoted);
    EXPECT_EQ(mayEnterCommandLine(c.value, CommandPlace::SingleQuoted), c.singleQuoted);
  }
}

}  // namespace
}  // namespace LedgoraCollect
