#include "hostmodel/CommandCmdCollectionUnit.h"

#include <cstdlib>

#include "common/StringUtils.h"
#include "common/support/BoundedString.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"

namespace LedgoraCollect {
namespace {

constexpr int kTimeout = 60;
constexpr int kWaitStep = 5;
constexpr std::size_t kLineBytes = 65536;

}  // namespace

bool CommandCmdCollectionUnit::collectCommandPath(const std::string& command, std::string& out,
                                                  const char* pathValue) {
  std::string result;
  if (!executeV(command, result, pathValue)) return false;
  parseVResult(result, out);
  return !out.empty();
}

bool CommandCmdCollectionUnit::executeV(const std::string& command, std::string& out,
                                        const char* pathValue) {
  const MallocText buffer(
      bufferSize > 0 ? static_cast<char*>(std::calloc(static_cast<std::size_t>(bufferSize), 1))
                     : nullptr);
  if (buffer == nullptr) {
    error_output(0, __func__, __LINE__, "malloc error.");
    return false;
  }
  std::string line(kLineBytes, '\0');
  if (str_snprintf(line.data(), line.size(), "sh -c \"command -v %s 2>/dev/null\"",
                   command.c_str()) < 0) {
    return false;
  }
  line.resize(line.find('\0'));
  if (!executeCmd(line, buffer.get(), bufferSize, kTimeout, kWaitStep, pathValue)) {
    error_output(0, __func__, __LINE__, "exec cmd: %s error.", line.c_str());
    return false;
  }
  out = buffer.get();
  return !out.empty();
}

void CommandCmdCollectionUnit::parseVResult(const std::string& result, std::string& out) {
  out = StringUtils::trim(result, " \r\n\t");
}

}  // namespace LedgoraCollect
