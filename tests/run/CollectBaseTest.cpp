#include <gtest/gtest.h>

#include "common/support/Handles.h"
#include "common/support/JsonLayer.h"
#include "run/CollectBase.h"
#include "run/CollectIPList.h"

using namespace LedgoraCollect;

TEST(CollectBase, ContainerBitsSelectTogether) {
  const struct {
    int option;
    bool host, container;
  } cases[] = {{0, true, false},   {7, true, false},  {8, true, true},  {24, false, true},
               {16, false, false}, {31, false, true}, {-1, false, true}};
  for (const auto& c : cases) {
    CollectIPList collector;
    collector.setOption(c.option);
    EXPECT_EQ(collector.keepsRecord(false), c.host) << c.option;
    EXPECT_EQ(collector.keepsRecord(true), c.container) << c.option;
  }
}

TEST(IpListDocument, JoinsInOrderAndKeepsDoubles) {
  const struct {
    std::vector<std::string> addresses;
    std::string want;
  } cases[] = {
      {{}, "{}"},
      {{"10.0.0.5"}, R"({"ip_list":"10.0.0.5"})"},
      {{"10.0.0.5", "127.0.0.2", "10.0.0.5"}, R"({"ip_list":"10.0.0.5;127.0.0.2;10.0.0.5"})"},
  };
  for (const auto& c : cases) {
    const JsonHandle root(cJSON_CreateObject());
    _IP_LIST_ list{c.addresses};
    EXPECT_EQ(CollectBase::dataToJson(&list, root.get()), 0);
    EXPECT_EQ(MallocText(printJsonDocument(root.get())).get(), c.want);
  }
}
