#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hostmodel/DmidecodeCmdCollectionUnit.h"

namespace LedgoraCollect {

struct IP_VALUE_S {
  int subnet = 0;  // prefix length
  std::string ip;
};

struct NIC_INFO_S {
  std::string mac;  // upper case, colons; empty when it can't be had
  std::string name;
  std::vector<IP_VALUE_S> ips;
  std::vector<std::string> dns;  // nothing fills it
  std::string gateway;
};

struct OS_RELEASE {
  std::string versionId;
  std::string versionCodename;
  std::string name;
  std::string prettyName;
  std::string version;
  std::string id;
};

struct DISK_INFO_S {
  std::string name;
  std::string model;
  std::string serial;
  std::string size;
};

// The lists of these five stay empty on Linux; consumers expect their keys.
struct MONITOR_INFO_S {
  std::string manufacturer;
  std::string id;
  std::string description;
  std::string model;
};

struct VIDEO_CARD_INFO_S {
  std::string model;
};

struct SOUND_CARD_INFO_S {
  std::string model;
};

struct MEMORY_INFO_S {
  std::string model;
  std::string manufacturer;
  std::string size;
};

struct PATCH_INFO_S {
  std::string name;
  std::string programName;
  std::string publisherName;
  std::string version;
  std::string installTime;
};

/// The machine as a whole.
struct SYS_INFO_S {
  std::string agentId;  // stays empty
  std::string distribution;
  std::string hostName;
  std::vector<NIC_INFO_S> interfaces;
  std::string osManufacturer;
  std::vector<DISK_INFO_S> disks;
  std::vector<MONITOR_INFO_S> monitors;
  std::vector<VIDEO_CARD_INFO_S> videoCards;
  std::vector<SOUND_CARD_INFO_S> soundCards;
  std::vector<MEMORY_INFO_S> memoryInfos;
  std::string vendor;
  std::string osName;
  std::string osVersion;
  std::string osVersionCodename;
  std::string osUpdateVersion;  // stays empty
  std::string osEditionVersion;
  std::string osLanguage;
  std::string hostType;
  std::string osArchitecture;
  std::string kernelVersion;
  std::vector<PATCH_INFO_S> patches;
  std::string serial;
  std::string uname;
  std::uint64_t upTime = 0;      // the moment of boot, in seconds since the epoch
  std::int64_t installTime = 0;  // stays 0
  std::string uuid;
  MotherBoardCacheUnit motherboard;
};

}  // namespace LedgoraCollect
