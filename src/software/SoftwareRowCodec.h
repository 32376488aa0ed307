#pragma once

#include <string>
#include <vector>

#include "software/SoftwareRecords.h"
#include "software/SoftwareTables.h"

namespace LedgoraCollect {

struct PROC_EX_INFO_S;

// The translation between an identified software and its row of
// "software_cache". The JSON columns are printed formatted, with line breaks
// and tabs. An empty text means that the object couldn't be made.

/// {"<pid>": confPath}
std::string encodeAppConf(const SOFTWARE_EX_S& soft);
/// {"develop_kit": {"type": number, "version": text}}
std::string encodeExtend(const SOFTWARE_EX_S& soft);
/// {"key_file_path", "pkg_name", "pkg_version"}; empty without a key file.
std::string encodePkgInfo(const PROC_EX_INFO_S& proc, const SOFTWARE_EX_S& soft);
/// The values of the rule's environment variables, then those of its command
/// line variables. A name in both maps stands twice; consumers of the file
/// rely on it.
std::string encodeAppEnv(const PROC_EX_INFO_S& proc);
/// Array of the pids; "[]" if it can't be built.
std::string encodePid(const std::vector<SOFTWARE_PROC_INFO_S>& relatedProcs);
/// Array of the pids of the first major process's sub-processes; "[]" without.
std::string encodeSubProcess(const std::vector<SOFTWARE_MAJOR_PROC_INFO_S>& majorProcs);

/// The configuration path out of an `app_conf` text: the last string member,
/// whatever its key, so that a row written under another pid is still good.
/// Empty if there is none.
std::string decodeAppConfigure(const std::string& text);
/// Type and version of the development kit out of an `app_extend` text; what
/// isn't there stays as it was.
void decodeExtend(const std::string& text, SOFTWARE_EX_S& soft);

/// The whole row of a process's software.
void soft2DBData(const PROC_EX_INFO_S& proc, const SOFTWARE_EX_S& soft, _SOFT_TABLE_DATA& row);
/// What a row gives back: the results of the expensive extraction only.
void dbData2Soft(SOFTWARE_EX_S& soft, const _SOFT_TABLE_DATA& row);

}  // namespace LedgoraCollect
