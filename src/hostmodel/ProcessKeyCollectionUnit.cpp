#include "hostmodel/ProcessKeyCollectionUnit.h"

#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "hostmodel/ProcFileCollectionUnit.h"

namespace LedgoraCollect {
namespace {

constexpr char kBlanks[] = " \r\n\t";

}  // namespace

bool ProcessKeyCollectionUnit::creatProcessKey(const PROCESS_KEY_INFO_S& info, std::string& out) {
  if (info.processPath.empty() || info.processCmdline.empty()) {
    error_output(1, __func__, __LINE__, "processPath or processCmdLine is empty");
    return false;
  }
  std::string input = StringUtils::trim(info.processCmdline, kBlanks) + ";" +
                      StringUtils::trim(info.processPath, kBlanks);
  if (!info.containerId.empty()) input += ";" + info.containerId;
  out = StringUtils::getMd5Str(input);
  LEDGORA_DEBUG("md5 input:%s, value: %s", input.c_str(), out.c_str());
  return true;
}

bool ProcessKeyCollectionUnit::getProcessKeyByPid(int pid, std::string& out) const {
  ProcFileCollectionUnit proc;
  proc.setEnvironment(environment);
  PROCESS_KEY_INFO_S info;
  info.processPath = proc.getProcessPath(pid);
  info.processCmdline = proc.getProcessCmdline(pid);
  ContainerInfo container;
  if (proc.getContainerInfo(pid, container)) {
    info.containerId = container.containerId;
    info.processPath = proc.getContainerProcessPath(pid, info.processPath);
  }
  return creatProcessKey(info, out);
}

}  // namespace LedgoraCollect
