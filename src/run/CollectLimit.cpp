#include "run/CollectLimit.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>

#include "common/support/Handles.h"
#include "common/support/IniFile.h"
#include "common/support/InstallPath.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

constexpr const char* kLimitFile = "@/../config/hostlimit.ini";
constexpr const char* kSection = "host_limit";
constexpr std::size_t kPathBytes = 4096;

using IniHandle = std::unique_ptr<void, Releaser<ini_file_free>>;

struct LimitKey {
  const char* key;
  unsigned int CollectLimit::*count;
  long CollectLimit::*bytes;
};

#define LEDGORA_COUNT(name) \
  { #name, &CollectLimit::name, nullptr }
#define LEDGORA_BYTES(name) \
  { #name, nullptr, &CollectLimit::name }
// In the order of the reading, which is the order of the warnings. It differs
// from the members' in one place: E_HOST_CRON comes after the two file sizes.
constexpr LimitKey kKeys[] = {
    LEDGORA_COUNT(E_HOST_WEB_SERVICE),
    LEDGORA_COUNT(E_HOST_PROCESS),
    LEDGORA_COUNT(E_HOST_USER),
    LEDGORA_COUNT(E_HOST_PORT_LISTENING),
    LEDGORA_COUNT(E_HOST_DATABASE),
    LEDGORA_COUNT(E_HOST_SOFTWARE),
    LEDGORA_COUNT(E_HOST_STATUS_MOUNT),
    LEDGORA_COUNT(E_HOST_INFO_INTERFACES),
    LEDGORA_COUNT(E_HOST_SOFTWARE_RELATED),
    LEDGORA_COUNT(E_HOST_LIMIT_DIR_FILE),
    LEDGORA_COUNT(E_HOST_LIMIT_DIR_DEP),
    LEDGORA_COUNT(E_HOST_LIMIT_ERROR_DURATION),
    LEDGORA_COUNT(E_IP_LIST),
    LEDGORA_COUNT(E_HOST_SOFT_TIMEOUT),
    LEDGORA_BYTES(E_HOST_LIMIT_ONE_FILE_SIZE),
    LEDGORA_BYTES(E_HOST_LIMIT_ALL_FILE_SIZE),
    LEDGORA_COUNT(E_HOST_CRON),
    LEDGORA_COUNT(E_HOST_SERVER),
    LEDGORA_COUNT(E_HOST_STARTUP),
    LEDGORA_COUNT(E_HOST_REGISTER),
    LEDGORA_COUNT(E_HOST_CONNECTION),
    LEDGORA_COUNT(E_HOST_SHARE),
    LEDGORA_COUNT(E_HOST_ENV),
    LEDGORA_COUNT(E_HOST_JAR),
    LEDGORA_COUNT(E_HOST_INSTALL_PACKAGE),
    LEDGORA_COUNT(E_HOST_KERNEL),
    LEDGORA_COUNT(E_HOST_NPM),
    LEDGORA_COUNT(E_HOST_PYTHON_PACKAGE),
    LEDGORA_COUNT(E_HOST_CERT),
};
#undef LEDGORA_COUNT
#undef LEDGORA_BYTES

/// What strtoul makes of it, 0 for text. A number beyond the type becomes the
/// largest, which as a count is -1: an empty list, like any other nonsense.
unsigned int countOf(const char* value) {
  return static_cast<unsigned int>(
      std::min<unsigned long>(std::strtoul(value, nullptr, 10), UINT_MAX));
}

}  // namespace

CollectLimit* CollectLimit::getInstance() {
  static CollectLimit instance;
  instance.init();
  return &instance;
}

// After a failed load the next call tries again and tells again. That costs
// one attempt to open a file and is accepted.
void CollectLimit::init() {
  if (!mLoaded) mLoaded = LoadHostLimitFile();
}

bool CollectLimit::LoadHostLimitFile() {
  char path[kPathBytes] = {};
  dirutils_path_transform(kLimitFile, path, sizeof path);
  const IniHandle file(ini_file_load(path));
  if (!file) {
    error_output(1, __func__, __LINE__, "no ini file %s.", kLimitFile);
    return false;
  }
  for (const LimitKey& known : kKeys) {
    const char* value = ini_file_get(file.get(), kSection, known.key);
    if (!value) {
      error_output(1, __func__, __LINE__, "ini_file_get ini fail session:%s,key:%s", kSection,
                   known.key);
    } else if (known.bytes) {
      this->*known.bytes = std::strtol(value, nullptr, 10);
    } else {
      this->*known.count = countOf(value);
    }
  }
  return true;
}

}  // namespace LedgoraCollect
