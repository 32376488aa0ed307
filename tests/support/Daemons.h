#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace LedgoraTest {

struct DaemonOptions {
  uid_t uid = 0;
  std::string directory = "/";
  std::map<std::string, std::string> environment;  // instead of the test's own
};

/// Processes of a test's own, ended with it. For programs that fork, use it
/// within a pid namespace (passesInNamespaces): there everything ends with the
/// body.
class Daemons {
 public:
  Daemons() = default;
  ~Daemons();
  Daemons(const Daemons&) = delete;
  Daemons& operator=(const Daemons&) = delete;

  /// Starts a program; returns when it has been started, not when it is ready.
  /// Its standard streams are /dev/null.
  pid_t start(const std::string& program, const std::vector<std::string>& arguments,
              const DaemonOptions& options = {});
  void stop(pid_t pid);

 private:
  std::vector<pid_t> mPids;
};

/// Waits until something listens there on 127.0.0.1, for up to 20 seconds.
bool isListening(int port);
/// Waits until that many processes have this name ("comm"), as long.
bool hasProcesses(const std::string& name, int count);

}  // namespace LedgoraTest
