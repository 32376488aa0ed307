#pragma once

#include <string>
#include <vector>

namespace LedgoraCollect {

/// One element of "character_file": a file whose manifest or content confirms
/// that a process is the rule's software.
struct PATTERN_FILE_ATTR_S {
  std::string filePath;  // absolute, relative or with a "$" variable; empty: the main file
  std::string manifestRegex;
  std::string contentRegex;
};

/// One element of "pattern_process".
struct PATTERN_PROCESS_S {
  std::string processName;   // expression; a pattern with an empty one never matches
  std::string cmdlineRegex;  // empty: no test
  std::vector<PATTERN_FILE_ATTR_S> characterFile;  // one success is enough; empty: no test
  std::string priority;                            // "high", "normal", other, or empty
};

/// One variable of a rule.
struct VAR_DEFINE_S {
  std::string varName;    // without "$"
  std::string varSource;  // environment variable, parameter, or expression on open files
};

/// One element of "version_cmd".
struct CONTENT_REGEX_S {
  std::string cmdParam;
  std::string outRegex;
};

/// One element of "version_file".
struct CONTENT_REGEX_EX_S {
  std::string pathBase;
  std::string pathFile;
  std::string outRegex;
};

/// One element of "version_zip".
struct ZIP_REGEX_EX_S {
  std::string pathBase;
  std::string pathZip;
  std::string pathFile;
  std::string outRegex;
};

/// One element of "var_version_cmd".
struct CMD_REGEX_S {
  std::string pathBase;
  std::string cmd;
  std::string outRegex;
  std::string versionShellFormat;
};

/// One element of "conf_default".
struct PATH_REGEX_S {
  std::string pathBase;
  std::string fileRegex;
  std::string fileType;  // "document" (files) unless the rule says otherwise
};

/// One rule of soft_app_linux.json: how software is told from a running
/// process, and where its version and configuration stand.
struct SOFTWARE_RULE_S {
  std::string name;
  std::string id;
  std::vector<std::string> pattern;     // exact key file or package names
  std::vector<std::string> patternCmd;  // substrings of the command text
  std::vector<PATTERN_PROCESS_S> patternProcess;
  std::string appType;
  std::string belong = "1";
  std::string classify1Zh;
  std::string classify1En;
  std::string classify2Zh;
  std::string classify2En;
  std::string classifyId;
  std::string cmdlineType;
  std::vector<std::string> confCmd;
  std::vector<PATH_REGEX_S> confDefault;
  std::vector<VAR_DEFINE_S> varCmd;
  std::vector<VAR_DEFINE_S> varEnv;
  std::vector<VAR_DEFINE_S> varFile;
  std::vector<std::string> versionMethods;  // in the order in which the rule writes them
  std::vector<CONTENT_REGEX_S> versionCmd;
  std::vector<CMD_REGEX_S> versionVarCmd;
  std::vector<CONTENT_REGEX_EX_S> versionFile;
  std::vector<ZIP_REGEX_EX_S> versionZip;
  std::vector<std::string> versionJar;
  std::vector<std::string> versionEnv;
  std::vector<std::string> versionElf;
  std::string versionProduct;
  std::vector<std::string> keyPath;
  std::string tag;  // unformatted JSON text
  std::vector<std::string> relatedProc;
  std::string companyZh;
  std::string companyEn;
};

/// One rule of soft_pkg_linux.json: the software that an installed package is.
struct INSTALL_SOFTWARE_CONFIG_S {
  std::string id;
  std::string appName;
  std::string tag;  // unformatted JSON text
  std::vector<std::string> binPath;
  std::vector<std::string> confPath;
  std::vector<std::string> rpmPkg;
  std::vector<std::string> dpkgPkg;
  std::string companyZh;
  std::string companyEn;
  std::string classify1Zh;
  std::string classify1En;
  std::string classify2Zh;
  std::string classify2En;
  std::string classifyId;
  std::string belong = "1";
};

}  // namespace LedgoraCollect
