#pragma once

#include <map>
#include <string>
#include <vector>

#include "hostmodel/CmdCollectionUnit.h"
#include "package/SoftwarePkgCacheUnit.h"

namespace LedgoraCollect {

/// True means that the path is left out.
using PackageFileFilter = bool (*)(const std::string& target, const std::string& environment,
                                   const std::string& path);

/// The packages of a root that has the rpm command. Only rpm itself is asked,
/// inside the root; its database is never read.
class RpmCmdCollectionUnit : public CmdCollectionUnit {
 public:
  /// What asking for a file's owner came to.
  enum class Ownership {
    Owned,
    NotOwned,  ///< rpm answered, and named no package
    NoAnswer,  ///< rpm wasn't run, didn't end in time or said nothing
  };

  /// Whether rpm can be used here. Looked up once in a run for each root.
  bool detectRpmCmd();
  /// True, with `result` set, if that was looked up already.
  bool getDetectResult(bool& result) const;
  void setDetectResult(bool result);
  /// True if rpm is there and was given up in this run: about owners nothing
  /// is known then.
  bool isLost() const;

  /// Appends all packages, in rpm's order. False if the command failed.
  bool collectSoftwares(std::vector<SoftwarePkgCacheUnit>& list);
  /// Appends the owners of the files of one directory, each package once.
  void collectSoftwares(std::vector<SoftwarePkgCacheUnit>& list, const char* dir);
  /// The owner of one file; false if there is none or no answer.
  bool collectSoftware(const std::string& path, SoftwarePkgCacheUnit& unit);
  /// The same, telling a file without owner from a question without answer.
  Ownership queryOwner(const std::string& path, SoftwarePkgCacheUnit& unit);
  /// The files of one package (at most 1024 lines of rpm's list), filtered by
  /// a grep expression of ours and by `filter`; both may be empty.
  bool collectSoftwareInstallFiles(const std::string& pkg, const std::string& grep,
                                   std::vector<std::string>& files, PackageFileFilter filter);

  bool executeQA(std::string& out);
  bool executeQF(const std::string& path, std::string& out);
  bool executeQL(const std::string& pkg, const std::string& grep, std::string& out);

  /// Splits the listing and appends what it understands.
  static void parseQAResult(const std::string& text, std::vector<SoftwarePkgCacheUnit>& list);
  /// Understands one record; false, with `unit` left alone, if it has fewer
  /// than five fields.
  static bool parseQFResult(const std::string& text, SoftwarePkgCacheUnit& unit);
  /// Splits a file list. Without a filter `files` is replaced by all lines.
  void parseQLResult(const std::string& text, std::vector<std::string>& files,
                     PackageFileFilter filter) const;

 private:
  std::string rootKey() const { return environment + target; }
  /// Whether rpm manages nothing here, as on a machine of another package
  /// system. Then no file needs a question of its own.
  bool hasNoPackage();
  bool run(const std::string& command, int bufferSize, int timeout, std::string& out);

  static std::map<std::string, bool> rpmDetectMap;
};

}  // namespace LedgoraCollect
