#include <gtest/gtest.h>

#include "collect/kernel/ModinfoOutput.h"

using namespace LedgoraCollect;

namespace {

std::string joined(const std::vector<std::string>& values) {
  std::string text;
  for (const std::string& value : values) text += "[" + value + "]";
  return text;
}

}  // namespace

TEST(ParseLsmodLine, Columns) {
  const struct {
    const char* line;
    const char* name;
    const char* size;
    const char* holders;
  } cases[] = {
      {"nf_nat                 57344  2 xt_MASQUERADE,nft_chain_nat", "nf_nat", "57344",
       "[xt_MASQUERADE][nft_chain_nat]"},
      {"ext4                  983040  1", "ext4", "983040", ""},
      {"odd 1 3 a,,b,", "odd", "1", "[a][][b]"},
      {"alone", "alone", "", ""},
      {"", "", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const KERNEL_MODULE_INFO_S module = parseLsmodLine(c.line);
    EXPECT_EQ(module.name, c.name);
    EXPECT_EQ(module.size, c.size);
    EXPECT_EQ(joined(module.holders), c.holders);
    EXPECT_EQ(static_cast<std::size_t>(module.holderCount), module.holders.size());
  }
}

TEST(ParseModinfo, AsKmodPrintsIt) {
  KERNEL_MODULE_INFO_S module;
  parseModinfo({"filename:       /lib/modules/5.10/kernel/net/e1000.ko", "version:        7.3.21\r",
                "license:        GPL v2", "description:    Intel(R) PRO/1000",
                "author:         Intel Corporation", "srcversion:     AB12CD",
                "rhelversion:    8.4", "alias:          pci:v00008086d00002E6Esv*",
                "depends:        mii,ptp", "retpoline:      Y", "vermagic:       5.10 SMP",
                "parm:           TxDescriptors:Number of transmit descriptors (array of int)",
                "parm:           debug:Debug level (0=none) (int)"},
               module);
  EXPECT_EQ(module.path, "/lib/modules/5.10/kernel/net/e1000.ko");
  EXPECT_EQ(module.version, "7.3.21");
  EXPECT_EQ(module.description, "Intel(R) PRO/1000");
  EXPECT_EQ(joined(module.dependencies), "[mii][ptp]");
  EXPECT_EQ(module.dependencyCount, 2);
  EXPECT_EQ(joined(module.parameters),
            "[TxDescriptors:Number of transmit descriptors (array of int)]"
            "[debug:Debug level (0=none) (int)]");
}

TEST(ParseModinfo, KeywordsElsewhereInALine) {
  const struct {
    const char* what;
    std::vector<std::string> lines;
    const char* want;
  } cases[] = {
      {"built in", {"name: ext4", "filename: (builtin)"}, "(builtin)|||"},
      {"only the distribution's version", {"rhelversion:    8.4", "srcversion: X"}, "|8.4||"},
      {"version wins", {"version: 1", "rhelversion: 8.4"}, "|1||"},
      {"last one counts", {"filename: /a", "filename: /b"}, "/b|||"},
      {"empty dependencies", {"depends:        "}, "|||"},
      // The value is cut by the keyword's length from the line's start.
      {"keyword inside another line",
       {"description:    uses depends: x"},
       "||uses depends: x|[ion:    uses depends: x]"},
      {"noise", {"", "p", "parm", "\x01\xff"}, "|||"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    KERNEL_MODULE_INFO_S module;
    parseModinfo(c.lines, module);
    EXPECT_EQ(module.path + "|" + module.version + "|" + module.description + "|" +
                  joined(module.dependencies),
              c.want);
  }
}
