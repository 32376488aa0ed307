#pragma once

#include <map>
#include <string>
#include <vector>

#include "hostmodel/CmdCollectionUnit.h"

namespace LedgoraCollect {

/// The environment that an administrator's login shell has, asked from a
/// shell of the inspected root, and the PATH under which our commands run.
class EnvCmdCollectionUnit : public CmdCollectionUnit {
 public:
  /// Runs `set` in a shell on `cmdUnit`, whose strings decide where, and adds
  /// the variables to `variables`; a name that is there stays as it is. True
  /// when the shell printed something.
  bool collectEnv(const CmdCollectionUnit& cmdUnit,
                  std::map<std::string, std::string>& variables) const;
  /// The environment of the inspected machine, whatever the target.
  bool collectHostEnv(std::map<std::string, std::string>& variables) const;
  /// One variable of the inspected machine; false when it isn't set. The shell
  /// is asked once per run and environment.
  bool collectHostEnvValue(const std::string& name, std::string& out) const;
  /// One variable inside the target as well.
  bool collectEnvValue(const std::string& name, std::string& out) const;

  /// "PATH=" and the default directories, then what the tool's own PATH has
  /// besides. Computed once; later changes of PATH have no effect.
  static std::string collectDefaultPathEnv();
  /// What collectDefaultPathEnv keeps, from a PATH value (null: not set).
  static std::string mergeDefaultPath(const char* ownPath);
  /// Adds what lines of `set` output say to `variables`; the first wins.
  static void parseSetLines(const std::vector<std::string>& lines,
                            std::map<std::string, std::string>& variables);
};

}  // namespace LedgoraCollect
