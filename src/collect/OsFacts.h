#pragma once

#include <string>
#include <vector>

#include "collect/SystemInfoRecords.h"

namespace LedgoraCollect {

// What the release files of a root (`env`; empty: this machine) tell of its
// operating system.

/// Reads "/etc/os-release". False when it isn't there or can't be read.
bool parseOsRelease(const std::string& env, OS_RELEASE& release);

/// The family that a name from a release file stands for, such as "redhat"
/// for "rhel"; a name of no known family stays as it is.
std::string normaliseOsName(const std::string& name);

/// The name of a system without os-release, in lower case; "linux" when no
/// file tells.
std::string getOsNameFromMultiFiles();

/// The first number, digits and dots, of "/etc/issue" or "/etc/redhat-release".
std::string getOsVersionFromMultiFiles(const std::string& env);

/// The edition of the systems that have one (service pack, "lts", release
/// letter) as the files write it; empty for others. `osName` and `hostType`
/// are normalised.
std::string findOsEdition(const std::string& env, const std::string& osName,
                          const std::string& hostType);

}  // namespace LedgoraCollect
