#pragma once

#include <set>
#include <string>
#include <vector>

#include "run/CollectBase.h"

namespace LedgoraCollect {

/// One environment variable as the document lists it.
struct ENV_INFO_S {
  std::string envName;
  std::string envValue;
  std::string envType;  // "system" or "user"
  std::string envUser;
};

/// Type 20: the environment variables of the tool, when it inspects its own
/// host, and those that a login shell of the inspected system reports. Values
/// may be secrets: they stand in the document and nowhere else.
class CollectEnvInfo : public CollectBase {
 public:
  /// Takes the limit. True.
  bool init() override;
  void uinit() override {}
  bool collectImple(cJSON* root) override;

  void getEnvInfo(std::vector<ENV_INFO_S>& list);
  /// Appends the tool's own variables, in the order of its environment. False
  /// if it has none.
  bool getEnvVariable(std::vector<ENV_INFO_S>& list);
  /// Appends what the shell has besides, in name order. False if it told nothing.
  bool getShellVariable(std::vector<ENV_INFO_S>& list);
  /// Cuts "NAME=value" into the record. False for a text without name or
  /// value, and for a name that is collected already.
  bool checkVariable(ENV_INFO_S& record, const std::string& text) const;
  static void checkEnvType(const std::string& name, std::string& type);
  /// The name of the user whose rights the run has; "root" if it has no name.
  static void getCurrentUserName(std::string& name);

 private:
  bool isFull(const std::vector<ENV_INFO_S>& list) const;
  void append(ENV_INFO_S record, std::vector<ENV_INFO_S>& list);

  int mMaxEnvCount = 256;
  std::string mCurrentUser;
  std::set<std::string> mCollected;
};

}  // namespace LedgoraCollect
