#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "hostmodel/CmdCollectionUnit.h"
#include "hostmodel/ProcessCacheUnit.h"

namespace LedgoraCollect {

/// The process list of the inspected machine: one ps command for the rows,
/// /proc for what ps shortens or can't tell.
class PsCmdCollectionUnit : public CmdCollectionUnit {
 public:
  /// Adds the processes to `processes`, by pid. False when the list couldn't be had.
  bool collectProcesses(std::map<int, ProcessCacheUnit>& processes) const;
  /// Runs ps, again when it broke off; if it always did, the longest list
  /// counts. False when it failed or printed nothing.
  bool executeEO(std::string& out) const;
  /// Whether ps ended within the last row: the ps of procps 4.0.2 crashes at
  /// the user's name of a process that ends while it is read, and the pipeline
  /// then hides its status. Only the comm is a process's to leave empty, so a
  /// row that misses more was never finished. Output that fills the buffer is
  /// cut by us and counts as whole.
  static bool isBrokenOff(const std::string& text);
  /// Adds the processes that the rows name and /proc knows. A pid that is in
  /// the table keeps its first record.
  void parseEOResult(const std::string& text, std::map<int, ProcessCacheUnit>& processes) const;

  /// The fields of a row, comm last; empty when the row isn't one that the
  /// table keeps (too few fields, parent 0).
  static std::vector<std::string> parseEORow(const std::string& line);
  /// The last component of a path.
  static std::string getProcessName(const std::string& path);
  /// Seconds since the epoch of a local time; 0 for an empty time.
  static std::uint64_t getStartTime(const std::string& timeText, int year, int month, int day);
  static int convertMonthNum(const std::string& monthText);

  /// The identity of a record; empty and logged when it has none.
  static std::string getProcessKey(const ProcessCacheUnit& record);
  /// The command line from its first blank on.
  static std::string getProcessArgs(const ProcessCacheUnit& record);
  /// "python", "perl", "bash", "java", or "linux" for any other program.
  static std::string getInterpreterLanguage(const ProcessCacheUnit& record);
  /// The first argument that isn't an option, with PWD in front if relative.
  static std::string getLanguageKeyPath(const ProcessCacheUnit& record);
  /// The file that stands for the software. Sets the record's flag to false
  /// where the process path has to stand in.
  std::string getKeyFilePath(ProcessCacheUnit& record) const;

  /// False leaves the environment of native programs unread.
  void setEnvironmentsWanted(bool wanted) { mEnvironmentsWanted = wanted; }

 private:
  using KnownPaths = std::map<std::string, bool>;

  bool completeRecord(const std::vector<std::string>& row, KnownPaths& known,
                      ProcessCacheUnit& record) const;
  bool isExecutableThere(const std::string& path, const ProcessCacheUnit& record,
                         KnownPaths& known) const;
  void setContainer(ProcessCacheUnit& record) const;
  bool isThere(const std::string& path, const ProcessCacheUnit& record) const;

  bool mEnvironmentsWanted = true;
};

}  // namespace LedgoraCollect
