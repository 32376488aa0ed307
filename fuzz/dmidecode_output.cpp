// What dmidecode prints, in both forms in which it is read.
#include <cstddef>
#include <cstdint>
#include <string>

#include "collect/CollectSystemInfo.h"
#include "common/StringUtils.h"
#include "hostmodel/DmidecodeCmdCollectionUnit.h"

using namespace LedgoraCollect;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string answer = CollectSystemInfo::getSystemResult(text);
  if (answer.find_first_of("#\n") != std::string::npos) __builtin_trap();
  MotherBoardCacheUnit unit;
  DmidecodeCmdCollectionUnit::paraMotherboardInfo(StringUtils::split(text, "\n", true), unit);
  return 0;
}
