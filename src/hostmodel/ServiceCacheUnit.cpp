#include "hostmodel/ServiceCacheUnit.h"

#include "common/StringUtils.h"

namespace LedgoraCollect {
namespace {

constexpr struct {
  const char* letter;
  const char* serverStatus;
} kStatusTable[] = {{"s", "RUN"}, {"r", "RUN"}, {"t", "STOP"}};

}  // namespace

void ServiceCacheUnit::setServerStatusByProcess(const std::string& status) {
  if (status.size() != 1) {
    serverStatus = "STOP";
    return;
  }
  std::string letter = status;
  StringUtils::lower(letter);
  serverStatus = "RUN";
  for (const auto& entry : kStatusTable) {
    if (letter == entry.letter) serverStatus = entry.serverStatus;
  }
}

}  // namespace LedgoraCollect
