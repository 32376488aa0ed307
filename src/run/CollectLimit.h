#pragma once

namespace LedgoraCollect {

/// What bounds the lists of a run, from "@/../config/hostlimit.ini", section
/// "host_limit". The members bear the names of the file's keys; collectors
/// read them directly.
class CollectLimit {
 public:
  /// The one instance. Calls init() each time.
  static CollectLimit* getInstance();

  /// Loads the file unless that has worked before.
  void init();

  /// Reads the file. True when it could be opened; a key that isn't there
  /// keeps its default.
  bool LoadHostLimitFile();

  /// A number of the file as the lists compare it: signed 32 bit, so that 0,
  /// negative numbers and what exceeds the type give an empty list.
  static int asCount(unsigned int limit) { return static_cast<int>(limit); }

  bool mLoaded = false;
  unsigned int E_HOST_WEB_SERVICE = 16;
  unsigned int E_HOST_PROCESS = 512;
  unsigned int E_HOST_USER = 128;
  unsigned int E_HOST_PORT_LISTENING = 256;
  unsigned int E_HOST_DATABASE = 32;
  unsigned int E_HOST_SOFTWARE = 4096;
  unsigned int E_HOST_STATUS_MOUNT = 128;
  unsigned int E_HOST_INFO_INTERFACES = 32;
  unsigned int E_HOST_SOFTWARE_RELATED = 128;
  int mOpenFilesOfProcess = 1000;  // has no key, never changes
  unsigned int E_HOST_LIMIT_DIR_FILE = 2000;
  unsigned int E_HOST_LIMIT_DIR_DEP = 16;
  unsigned int E_HOST_CRON = 512;
  unsigned int E_HOST_LIMIT_ERROR_DURATION = 86400;
  unsigned int E_IP_LIST = 128;
  unsigned int E_HOST_SOFT_TIMEOUT = 600;
  long E_HOST_LIMIT_ONE_FILE_SIZE = 0xa00000;   // bytes: 10 MiB
  long E_HOST_LIMIT_ALL_FILE_SIZE = 0x1e00000;  // bytes: 30 MiB
  unsigned int E_HOST_SERVER = 1024;
  unsigned int E_HOST_STARTUP = 1024;
  unsigned int E_HOST_REGISTER = 1024;
  unsigned int E_HOST_CONNECTION = 1024;
  unsigned int E_HOST_SHARE = 1024;
  unsigned int E_HOST_ENV = 256;
  unsigned int E_HOST_JAR = 1024;
  unsigned int E_HOST_INSTALL_PACKAGE = 4096;
  unsigned int E_HOST_KERNEL = 1024;
  unsigned int E_HOST_NPM = 1024;
  unsigned int E_HOST_PYTHON_PACKAGE = 1024;
  unsigned int E_HOST_CERT = 1024;
};

}  // namespace LedgoraCollect
