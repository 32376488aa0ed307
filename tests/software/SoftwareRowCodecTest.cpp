#include <gtest/gtest.h>

#include "collect/ProcessRecords.h"
#include "software/SoftwareRowCodec.h"

using namespace LedgoraCollect;

TEST(RowCodec, ColumnsAsConsumersOfTheFileReadThem) {
  PROC_EX_INFO_S proc;
  proc.keyFilePath = "/usr/sbin/srv";
  proc.processDbKey = "12keysrv";
  proc.varEnvValues = {{"home", "/a"}, {"pwd", "/p"}};
  proc.varCmdValues = {{"home", "/b"}};
  SOFTWARE_EX_S soft;
  soft.pid = 12;
  soft.confPath = "/etc/a \"b\".conf";
  soft.pkgName = "srv";
  soft.pkgVersion = "1-2";
  soft.relatedProcs.resize(2);
  soft.relatedProcs[0].pid = 12;
  soft.relatedProcs[1].pid = 13;
  _SOFT_TABLE_DATA row;
  soft2DBData(proc, soft, row);
  EXPECT_EQ(row.appConf, "{\n\t\"12\":\t\"/etc/a \\\"b\\\".conf\"\n}");
  EXPECT_EQ(row.pkgInfo,
            "{\n\t\"key_file_path\":\t\"/usr/sbin/srv\",\n\t\"pkg_name\":\t\"srv\",\n"
            "\t\"pkg_version\":\t\"1-2\"\n}");
  EXPECT_EQ(row.appEnv, "{\n\t\"home\":\t\"/a\",\n\t\"pwd\":\t\"/p\",\n\t\"home\":\t\"/b\"\n}");
  EXPECT_EQ(row.pid, "[12, 13]");
  EXPECT_EQ(row.subPid, "[]");
  EXPECT_EQ(row.processKey, "12keysrv");
  proc.keyFilePath.clear();
  EXPECT_EQ(encodePkgInfo(proc, soft), "");
  EXPECT_EQ(encodePid({}), "[]");
}

TEST(RowCodec, WhatARowGivesBack) {
  SOFTWARE_EX_S soft;
  soft.developKitType = 1;
  soft.developKitVersion = "17";
  soft.confPath = "/c";
  _SOFT_TABLE_DATA row;
  row.appVersion = "1.2";
  row.startTime = 5;
  row.appConf = encodeAppConf(soft);
  row.appExtend = encodeExtend(soft);
  SOFTWARE_EX_S back;
  dbData2Soft(back, row);
  EXPECT_EQ(back.version + back.confPath + back.developKitVersion, "1.2/c17");
  EXPECT_EQ(back.startTime, 5);
  EXPECT_EQ(decodeAppConfigure(R"({"1":"/a","2":7,"3":"/b"})"), "/b");
  for (const char* damaged : {"", "{\"1\":\"/a", "[]", "7", "{\"1\":{}}"}) {
    EXPECT_EQ(decodeAppConfigure(damaged), "") << damaged;
    SOFTWARE_EX_S untouched;
    decodeExtend(damaged, untouched);
    EXPECT_EQ(untouched.developKitType, 0) << damaged;
  }
}
