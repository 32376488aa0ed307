#pragma once

#include <cjson/cJSON.h>

#include <string>
#include <vector>

#include "run/CollectType.h"

namespace LedgoraCollect {

struct INSTALL_PACKAGE_INFO_S;
struct KERNEL_MODULE_INFO_S;
struct NETWORK_CONNECT_INFO_S;
struct SYS_INFO_S;
struct USER_ACCOUNT_INFO_S;
struct SCHEDULE_INFO_S;
struct _IP_LIST_;
struct PYTHON_PACKAGE_INFO_S;
struct SERVER_INFO_S;
struct ENV_INFO_S;
struct SOFT_INFO_S;
struct JAR_PACKAGE_S;
struct PROCESS_INFO_S;
struct PORT_INFO_S;

/// One inventory type. The run drives a collector once, in this order:
/// construct, setOption, setMode, setEnv, init, collectImple, uinit, destroy.
class CollectBase {
 public:
  CollectBase() = default;
  CollectBase(const CollectBase&) = delete;
  CollectBase& operator=(const CollectBase&) = delete;
  virtual ~CollectBase() = default;

  /// Acquires what the collection needs. False ends the run without uinit().
  virtual bool init() = 0;
  /// Releases it again, however collectImple() ended.
  virtual void uinit() = 0;
  /// Gathers the records and adds them to `root`, the document. False: the
  /// run has no document.
  virtual bool collectImple(cJSON* root) = 0;

  int getOption() const { return mOption; }
  void setOption(int option) { mOption = option; }
  COLLECT_MODE_E getMode() const { return mMode; }
  void setMode(COLLECT_MODE_E mode) { mMode = mode; }
  void setEnv(const std::string& env) { mEnv = env; }
  /// The root directory of the inventoried system; empty: this host.
  const std::string& getMEnv() const { return mEnv; }

  /// True if the container bits of the option keep such a record: bit 8 keeps
  /// those of containers, bit 16 leaves out those of the host.
  bool keepsRecord(bool inContainer) const;

  /// `path` as seen from outside of the root `env`, without a way out of it.
  static std::string addEnvPath(const std::string& env, const std::string& path);
  /// The way back: `path` as the inventoried system knows it.
  static std::string dropEnvPath(const std::string& env, const std::string& path);

  // Each overload adds its records to `root` and is defined beside its
  // collector: 0, or -1 when the top array can't be made.
  static int dataToJson(std::vector<INSTALL_PACKAGE_INFO_S>* list, cJSON* root);
  static int dataToJson(std::vector<KERNEL_MODULE_INFO_S>* list, cJSON* root);
  static int dataToJson(std::vector<NETWORK_CONNECT_INFO_S>* list, cJSON* root);
  static int dataToJson(SYS_INFO_S* info, cJSON* root);
  static int dataToJson(std::vector<USER_ACCOUNT_INFO_S>* list, cJSON* root);
  static int dataToJson(std::vector<SCHEDULE_INFO_S>* list, cJSON* root);
  static int dataToJson(_IP_LIST_* list, cJSON* root);
  static int dataToJson(std::vector<PYTHON_PACKAGE_INFO_S>* list, cJSON* root);
  static int dataToJson(std::vector<SERVER_INFO_S>* list, cJSON* root);
  static int dataToJson(std::vector<ENV_INFO_S>* list, cJSON* root);
  // These four look at the option of the run.
  int dataToJson(std::vector<SOFT_INFO_S>* list, cJSON* root);
  int dataToJson(std::vector<JAR_PACKAGE_S>& list, cJSON* root);
  int dataToJson(std::vector<PROCESS_INFO_S>* list, cJSON* root);
  int dataToJson(std::vector<PORT_INFO_S>* list, cJSON* root);

 private:
  int mOption = 0;
  COLLECT_MODE_E mMode{};
  std::string mEnv;
};

}  // namespace LedgoraCollect
