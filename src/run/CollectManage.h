#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <string>

#include "run/CollectBase.h"

namespace LedgoraCollect {

/// The parameters of the run. `main` works on a copy of the one instance;
/// whatever else needs a parameter receives it through CollectBase's setters.
class CollectManage {
 public:
  /// A copy of the one instance.
  static CollectManage getInstance();

  /// Takes the arguments. Each is recognised by its leading characters only,
  /// the first keyword that fits decides, and a later argument overwrites an
  /// earlier one. False at the first argument that fits none.
  bool parseCollectParam(int argc, char** argv);

  /// The argument at which parseCollectParam() gave up.
  const std::string& getRefusedArgument() const { return mRefused; }

  /// Log directory and log, output directory, locale, CPU limit. False ends
  /// the run.
  bool init();

  int getCollectType() const { return mType; }
  COLLECT_MODE_E getCollectMode() const { return mMode; }
  int getCollectOption() const { return mOption; }
  std::string getCollectOutPath() const { return mOutPath; }
  std::string getCollectLogPath() const { return mLogPath; }
  std::string getCollectEnv() const { return mEnv; }
  void setCollectOption(int option) { mOption = option; }
  void setCollectOutPath(std::string& path) { mOutPath = path; }
  /// Stores `type`, unless the type held so far is no valid one.
  bool setCollectType(int type);

  /// A new collector for `type`; null for a type without one.
  std::shared_ptr<CollectBase> creatCollectItem(COLLECT_TYPE_E type);

  /// Prints `json` into the file `path`. The bytes written; 0 if the file
  /// can't be opened; -1 if the document can't be printed.
  int writeJsonFile(const cJSON* json, const std::string& path);

 private:
  bool takeArgument(const char* argument);
  bool initLog();
  bool initOutput();
  void dropLocale();

  std::string mOutPath;
  std::string mLogPath;
  int mType = 0;
  COLLECT_MODE_E mMode{};
  int mOption = 0;
  std::string mEnv;
  std::string mRefused;
};

}  // namespace LedgoraCollect
