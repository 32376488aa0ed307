#pragma once

#include <string>

namespace LedgoraCollect {

/// Finds where commands lie in the inspected system, as a login shell there
/// would find them.
class CommandLocator {
 public:
  /// `env`: the root of the inspected system; empty: this host.
  explicit CommandLocator(std::string env) : mEnv(std::move(env)) {}

  /// Sets `path` to the absolute path of `command`, without the root. Returns
  /// false, with the messages of it, if there is none.
  bool locate(const std::string& command, std::string& path);

 private:
  /// PATH of the root's login shell, asked once.
  bool rootPathValue(std::string& value);

  std::string mEnv;
  std::string mPathValue;
};

}  // namespace LedgoraCollect
