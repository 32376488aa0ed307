#include "collect/CollectSystemInfo.h"

#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include <ctime>
#include <sstream>

#include "collect/NetworkInterfaces.h"
#include "collect/OsFacts.h"
#include "common/StringUtils.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "hostmodel/CmdCollectionUnit.h"
#include "hostmodel/DiskDetailCollection.h"
#include "hostmodel/EnvCmdCollectionUnit.h"
#include "hostmodel/FileCollectionUnit.h"
#include "hostmodel/OsCollection.h"

namespace LedgoraCollect {
namespace {

constexpr const char* kBlanks = " \r\n\t";
constexpr int kAnswerBytes = 65536;
constexpr int kVendorBytes = 65536;
constexpr int kPathAnswerBytes = 1024;
constexpr int kTimeoutSeconds = 30;
constexpr int kWaitStepSeconds = 5;

constexpr struct {
  const char* command;
  std::string SYS_INFO_S::*member;
} kDmidecodeQuestions[] = {
    {"dmidecode -s system-product-name", &SYS_INFO_S::distribution},
    {"dmidecode -s system-manufacturer", &SYS_INFO_S::osManufacturer},
    {"dmidecode -s system-serial-number", &SYS_INFO_S::serial},
    {"dmidecode -s system-uuid", &SYS_INFO_S::uuid},
};

constexpr std::string SYS_INFO_S::*kLowerCaseFields[] = {
    &SYS_INFO_S::osName,          &SYS_INFO_S::hostType,   &SYS_INFO_S::osEditionVersion,
    &SYS_INFO_S::osVersion,       &SYS_INFO_S::osLanguage, &SYS_INFO_S::osArchitecture,
    &SYS_INFO_S::osUpdateVersion,
};

}  // namespace

bool CollectSystemInfo::collectImple(cJSON* root) {
  getSystemInfo();
  const int result = dataToJson(&mSysInfo, root);
  if (result != 0) {
    error_output(0, __func__, __LINE__,
                 "[CollectSystemInfo]Failed to get json result, error code=%d", result);
    return false;
  }
  error_output(2, __func__, __LINE__,
               "[CollectSystemInfo]success to collect host status to json data!");
  return true;
}

std::string CollectSystemInfo::getHostType() {
  if (mSysInfo.hostType.empty()) getSystemOSInfo();
  return mSysInfo.hostType;
}

std::string CollectSystemInfo::getOsName() {
  if (mSysInfo.osName.empty()) getSystemOSInfo();
  return mSysInfo.osName;
}

void CollectSystemInfo::getSystemInfo() {
  getSystemOSInfo();
  getSystemHostInfo();
  getSystemVendorInfo();
  getDiskDetailInfo();
  lowerFields();
  if (!getDmidecodeInfo()) return;
  getSystemNetworkInfo(getMEnv(), mSysInfo.interfaces);
  getSystemMotherBoard();
}

void CollectSystemInfo::getSystemOSInfo() {
  OS_RELEASE release;
  if (parseOsRelease(getMEnv(), release)) {
    mSysInfo.osVersion = release.versionId;
    mSysInfo.osVersionCodename = release.versionCodename;
    mSysInfo.osName = release.id;
    StringUtils::lower(mSysInfo.osName);
  } else {
    mSysInfo.osName = getOsNameFromMultiFiles();
  }
  mSysInfo.osName = normaliseOsName(mSysInfo.osName);
  if (mSysInfo.osVersion.empty()) mSysInfo.osVersion = getOsVersionFromMultiFiles(getMEnv());
  error_output(2, __func__, __LINE__, "[CollectSystemInfo]found os name :%s, os version :%s",
               mSysInfo.osName.c_str(), mSysInfo.osVersion.c_str());
  OsCollection os;
  os.setEnvironment(getMEnv());
  os.setOsCacheUnit({"", mSysInfo.osName});
  os.collect();  // what no file could decide stays empty
  mSysInfo.hostType = os.getOsCacheUnit().hostType;
  mSysInfo.osEditionVersion = findOsEdition(getMEnv(), mSysInfo.osName, mSysInfo.hostType);
}

// Names the running kernel, also for a mounted root.
void CollectSystemInfo::getSystemHostInfo() {
  EnvCmdCollectionUnit env;
  env.setEnvironment(getMEnv());
  env.collectHostEnvValue("LANG", mSysInfo.osLanguage);
  struct utsname name {};
  if (::uname(&name) != 0) return;
  mSysInfo.osArchitecture = name.machine;
  mSysInfo.hostName = StringUtils::trim(name.nodename, kBlanks);
  // The third word is the version of the operating system, where a kernel
  // release would be expected. Consumers rely on it.
  mSysInfo.uname = std::string(name.sysname) + " " + mSysInfo.hostName + " " + mSysInfo.osVersion +
                   " " + name.version + " " + name.machine;
  mSysInfo.kernelVersion = name.release;
  struct sysinfo info {};
  if (::sysinfo(&info) != 0) return;
  mSysInfo.upTime =
      static_cast<std::uint64_t>(std::time(nullptr)) - static_cast<std::uint64_t>(info.uptime);
}

// Only the first word of a vendor's name is kept; consumers rely on it.
void CollectSystemInfo::getSystemVendorInfo() {
  FileCollectionUnit files;
  files.setEnvironment(getMEnv());
  std::string text;
  if (!files.readFileContent("/sys/class/dmi/id/chassis_vendor", text, kVendorBytes, 0)) return;
  std::istringstream(text) >> mSysInfo.vendor;
}

void CollectSystemInfo::getDiskDetailInfo() {
  DiskDetailCollection disks;
  disks.setEnvironment(getMEnv());
  disks.collect();  // a machine without such disks has an empty list
  for (const DiskCacheUnit& disk : disks.getMDiskDetailInfos()) {
    mSysInfo.disks.push_back({disk.diskDevice, disk.diskModel, disk.diskSerial, disk.diskSize});
  }
}

void CollectSystemInfo::lowerFields() {
  for (const auto field : kLowerCaseFields) StringUtils::lower(mSysInfo.*field);
}

bool CollectSystemInfo::getDmidecodeInfo() {
  const MallocText answer(static_cast<char*>(std::malloc(kAnswerBytes)));
  if (!answer) {
    error_output(0, __func__, __LINE__, "[CollectSystemInfo]malloc error.");
    return false;
  }
  CmdCollectionUnit cmd;
  cmd.setEnvironment(getMEnv());
  for (const auto& question : kDmidecodeQuestions) {
    answer.get()[0] = '\0';
    const bool ran = cmd.executeCmd(question.command, answer.get(), kAnswerBytes, kTimeoutSeconds,
                                    kWaitStepSeconds, nullptr);
    if (ran) mSysInfo.*question.member = getSystemResult(answer.get());
  }
  if (mSysInfo.vendor.empty()) mSysInfo.vendor = mSysInfo.osManufacturer;
  StringUtils::lower(mSysInfo.vendor);
  StringUtils::lower(mSysInfo.osManufacturer);
  return true;
}

std::string CollectSystemInfo::getSystemResult(const std::string& output) {
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) {
    std::string text = StringUtils::trim(line, kBlanks);
    if (!text.empty() && text.find('#') == std::string::npos) return text;
  }
  return {};
}

void CollectSystemInfo::getSystemMotherBoard() {
  CommandCmdCollectionUnit lookUp;
  lookUp.bufferSize = kPathAnswerBytes;
  DmidecodeCmdCollectionUnit dmidecode(lookUp);
  dmidecode.setEnvironment(getMEnv());
  if (!dmidecode.collectMotherboardInfo(mSysInfo.motherboard)) {
    error_output(1, __func__, __LINE__, "[CollectSystemInfo]collect host motherboard failed");
  }
}

}  // namespace LedgoraCollect
