#pragma once

#include <map>
#include <string>
#include <vector>

#include "collect/CollectProcessInfo.h"
#include "collect/ProcessRecords.h"
#include "software/RuleModel.h"
#include "software/SoftwareRecords.h"

namespace LedgoraCollect {

class ProcSoftwareInfo;

/// From running processes to identified software: walks the process table,
/// parents first, names each process by the rules, joins it to the software of
/// its parent or makes a new one. Singleton; used once in a run, in the order
/// init, setMEnv, getAllProcSoftware, uniqueProcSoftware. The members are
/// spread over three files: the walk (ProcSoftware.cpp), the tests that name a
/// process (ProcSoftwareIdentify.cpp), and the relation of processes to
/// software (ProcSoftwareRelate.cpp).
class ProcSoftware {
 public:
  using RuleMap = std::map<std::string, SOFTWARE_RULE_S>;

  static ProcSoftware* getInstance();

  /// Stamps the run's time and loads the rules. True when they were loaded by
  /// this very call: a second call in one run gives false.
  bool init();
  /// The run's root, handed on to whoever reads for this object.
  void setMEnv(const std::string& env);
  const std::string& getMEnv() const { return m_env; }

  /// Reads the process table and walks it.
  bool getAllProcSoftware();
  /// The walk over the process map as it is. False without processes or
  /// without any software; the cache is left alone then.
  bool collectALlSoftware();
  bool collectSoftware(PROC_EX_INFO_S* proc);
  bool implCollectSoftware(PROC_EX_INFO_S* proc, PROC_EX_INFO_S* parent);

  bool identifySoftware(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  bool identifyByPatternProcess(PROC_EX_INFO_S* proc, std::string& name);
  bool identifySoftName(PROC_EX_INFO_S* proc, std::string& name, RuleMap& rules);
  /// Exact names (key file or package), without regard to case.
  bool identifyByPattern(const std::string& text, std::string& name);
  /// Substrings of the command text.
  bool identifyByPatternCmd(PROC_EX_INFO_S* proc, std::string& name);
  /// True if `files` is empty or one of them confirms the rule; the rule's
  /// variables stay read then, otherwise they are emptied again.
  bool checkCharacterFileRules(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc,
                               std::vector<PATTERN_FILE_ATTR_S>& files, std::string& name);
  bool checkCharacterFile(PROC_EX_INFO_S* proc, std::string& path, PATTERN_FILE_ATTR_S& attr);
  /// The path that the expression finds in the command line, made absolute;
  /// empty if there is none.
  std::string getFileFromCmd(PROC_EX_INFO_S* proc, std::string& value, const char* expression);

  /// The rule of that name; null when there is none.
  SOFTWARE_RULE_S* getSoftRule(const std::string& name);
  std::map<int, PROC_EX_INFO_S>* getProcessInfo() { return &mProcesses; }
  /// True when a row of the cache is younger than 1200 seconds.
  static bool checkSoftwareCache();

  bool setSoftwareRelated(PROC_EX_INFO_S* parent, PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  bool addSoftwareRelated(PROC_EX_INFO_S* parent, PROC_EX_INFO_S* proc);
  void setRelatedValue(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  bool setSoftwareMajorProcess(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  void addSubProcess(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  void addMajorProcessDetailInfo(PROC_EX_INFO_S* proc, SOFTWARE_EX_S* soft);
  void addProcSoftInfo(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  void updateRelatedValue(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  bool addProcSoftware(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  bool updateSoftwareData(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft, SOFTWARE_EX_S* target);
  bool saveSoftwareData(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  bool dbUpdateProcessRelated(SOFTWARE_EX_S& soft, std::string& key);
  /// Folds the entries that are the same product within one container or on
  /// the host; `out` is keyed by the merge key.
  void uniqueProcSoftware(std::map<std::string, SOFTWARE_EX_S>& out);

 private:
  bool loadSoftwareRule();
  void checkSoftRulePriority();
  bool checkProcValue(const PROC_EX_INFO_S& proc);
  bool filterProcName(PROC_EX_INFO_S& proc);
  PROC_EX_INFO_S* parentOf(const PROC_EX_INFO_S& proc);
  bool startVisit(PROC_EX_INFO_S* proc);
  void findKeyFilePackage(PROC_EX_INFO_S* proc, class SoftwarePkgCache& packages);
  void findInstallPathPackage(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft,
                              class SoftwarePkgCache& packages);
  bool takeFromCache(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  bool getSingleSoftwareDb(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  void getSoftwareOtherInfo(PROC_EX_INFO_S* proc, SOFTWARE_EX_S& soft);
  void readRuleVariables(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc);
  void readParameters(SOFTWARE_RULE_S* rule, PROC_EX_INFO_S* proc);
  bool matchesPattern(PROC_EX_INFO_S* proc, std::string& baseName, std::string& commandText,
                      PATTERN_PROCESS_S& pattern);
  std::vector<std::string> candidatePaths(PROC_EX_INFO_S* proc, PATTERN_FILE_ATTR_S& attr,
                                          const std::string& mainFile);
  bool resolveCandidate(PROC_EX_INFO_S* proc, std::string& path);
  bool manifestMatches(const std::string& jarPath, const std::string& expression);

  CollectProcessInfo mProcessCollector;
  ProcSoftwareInfo* mInformation = nullptr;
  RuleMap m_softRule;
  std::map<std::string, SOFTWARE_EX_S> mSoftware;  // by software key
  std::map<int, PROC_EX_INFO_S> mProcesses;        // by pid
  long long m_collectTime = 0;                     // seconds; the stamp of this run
  std::string m_env;
  RuleMap mHighRules;
  RuleMap mNormalRules;
  RuleMap mLowRules;
};

}  // namespace LedgoraCollect
