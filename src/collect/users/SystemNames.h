#pragma once

#include <map>
#include <string>

namespace LedgoraCollect {

/// Names that the running system has for user ids, also when another root is
/// inspected. The password file of the running system is read once; other
/// sources of names (a directory service) are asked for what it doesn't hold.
class SystemNames {
 public:
  /// False if the running system has no such user, or if the other sources
  /// have been asked so often that a crafted file must be behind it.
  bool nameOf(unsigned int uid, std::string& name);

 private:
  void loadFile();

  bool mLoaded = false;
  std::map<unsigned int, std::string> mNames;
  int mQuestions = 0;
};

}  // namespace LedgoraCollect
