#pragma once

#include <string>

namespace LedgoraCollect {

/// Runs a function of the program inside another root, in a forked child.
class ProcessUtils {
 public:
  using ChrootFunction = bool (*)(const std::string& path, std::string& result);

  /// `out` receives what `function` computed for `path` with `root` as root.
  /// True tells only that the child ended: judge the outcome by `out`, which
  /// stays empty when the child failed. False: no child, 30 seconds or 20 MiB passed.
  static bool executeChrootFunction(ChrootFunction function, const std::string& root,
                                    const std::string& path, std::string& out);

  /// The child's side; exits 1 after a result was written, else 255.
  [[noreturn]] static void chrootFunction(int* pipe, ChrootFunction function,
                                          const std::string& root, const std::string& path);

  /// The parent's side: reads the result until the child ends and reaps it.
  static bool getChildResult(int pid, int* pipe, std::string& out);

  static bool set_pipe_noblock(int descriptor);
};

}  // namespace LedgoraCollect
