#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "hostmodel/FileCollectionUnit.h"
#include "package/DpkgRecords.h"
#include "package/SoftwarePkgCacheUnit.h"

namespace LedgoraCollect {

/// The packages of a root that has dpkg, from dpkg's own files. Runs nothing.
class DpkgFileCollectionUnit : public FileCollectionUnit {
 public:
  /// True means that the path is left out.
  using Filter = bool (*)(const std::string& target, const std::string& environment,
                          const std::string& path);

  /// Whether the root has a status file.
  bool isDpkgAvailabe() const;
  /// Reads the status file anew; with a path only packages that have a file
  /// under it are kept. False if it can't be opened.
  bool loadDpkgList(const char* path);
  const std::vector<DPKG_PKG_INFO>& getDpkgList() const { return mDpkgList; }
  void getDpkgPkgCacheUnit(const DPKG_PKG_INFO* package, SoftwarePkgCacheUnit& unit) const;
  /// Appends the files of the first loaded package of that name which begin
  /// with `prefix` and which `filter` (may be null) doesn't leave out, at most
  /// 1024 in `files`. False if there is no such package or no list of it.
  bool getPackageInstallFiles(const std::string& name, const std::string& prefix,
                              std::vector<std::string>& files, Filter filter) const;
  bool loadDpkgFileList(const DPKG_PKG_INFO& package, const std::string& prefix,
                        std::vector<std::string>& files, Filter filter) const;
  /// True if the package has no file under `path`.
  bool isFilteredPkgByPath(const char* path, const DPKG_PKG_INFO& package) const;
  /// The package's list file as the inspected machine names it; empty if there
  /// is none.
  std::string getDpkgFileListPath(const DPKG_PKG_INFO& package) const;

  /// Takes over a finished stanza; true if its package was kept.
  bool parseDpkgSection(S_DPKG_STATUS_PARAM* pass);
  /// One line of the status file. Always false: the reading never stops early.
  bool readLineDpkgStatusFile(const std::string& line, S_DPKG_STATUS_PARAM* pass);
  /// One line of a list file; true stops the reading.
  bool readLineDpkgListFile(const std::string& line, const std::string& prefix,
                            std::vector<std::string>* files, Filter filter) const;

 private:
  std::vector<DPKG_PKG_INFO> mDpkgList;
  std::unordered_map<std::string, std::size_t> mFirstOfName;  ///< index into mDpkgList
};

/// One pass through a list file.
struct DPKG_FILE_READ_PARAM {
  const DpkgFileCollectionUnit* owner;
  DpkgFileCollectionUnit::Filter filter;  ///< may be null
  std::string prefix;
  std::vector<std::string>* files;
};

/// Line callbacks; `context` is an S_DPKG_STATUS_PARAM or a DPKG_FILE_READ_PARAM.
bool dpkgStatusFileCB(const std::string& line, void* context);
bool dpkgInstallFileRead(const std::string& line, void* context);

}  // namespace LedgoraCollect
