// Key, arguments, language and key file of a process record.
#include <algorithm>
#include <iterator>

#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "hostmodel/ProcessKeyCollectionUnit.h"
#include "hostmodel/PsCmdCollectionUnit.h"

namespace LedgoraCollect {
namespace {

constexpr char kNative[] = "linux";
constexpr const char* kInterpreters[] = {"python", "perl", "bash", "java"};

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

}  // namespace

std::string PsCmdCollectionUnit::getProcessKey(const ProcessCacheUnit& record) {
  std::string key;
  if (!ProcessKeyCollectionUnit::creatProcessKey(
          {record.getMProcessPath(), record.getMProcessCmdline(), record.getMContainerId()}, key)) {
    error_output(1, __func__, __LINE__, "[PsCmdCollectionUnit]creat process key failed");
  }
  return key;
}

std::string PsCmdCollectionUnit::getProcessArgs(const ProcessCacheUnit& record) {
  const std::string& cmdline = record.getMProcessCmdline();
  const std::size_t blank = cmdline.find(' ');
  return blank == std::string::npos ? "" : StringUtils::trim(cmdline.substr(blank), " \r\n\t");
}

std::string PsCmdCollectionUnit::getInterpreterLanguage(const ProcessCacheUnit& record) {
  const std::string name = getProcessName(record.getMProcessPath());
  const auto first = std::find_if(name.begin(), name.end(), isLetter);
  std::string word(first, std::find_if_not(first, name.end(), isLetter));
  StringUtils::lower(word);
  const bool known = std::find(std::begin(kInterpreters), std::end(kInterpreters), word) !=
                     std::end(kInterpreters);
  return known ? word : kNative;
}

// Nothing is known of options that take a value: of "java -cp lib.jar app.Main"
// the key file is "lib.jar". Rules are written for that.
std::string PsCmdCollectionUnit::getLanguageKeyPath(const ProcessCacheUnit& record) {
  const std::vector<std::string> words =
      StringUtils::split(record.getMProcessCmdline(), " ", false);
  std::size_t i = 1;
  while (i < words.size() && !words[i].empty() && words[i][0] == '-') ++i;
  if (i >= words.size()) return {};
  const std::string& word = words[i];
  const auto pwd = record.getMProcessEnv().find("PWD");
  const std::string directory = pwd == record.getMProcessEnv().end() ? "" : pwd->second;
  if (word.empty() || word[0] == '/' || directory.empty()) return word;
  return directory + "/" + word;
}

std::string PsCmdCollectionUnit::getKeyFilePath(ProcessCacheUnit& record) const {
  const std::string candidate = record.getMInterpreterLanguage() == kNative
                                    ? record.getMProcessPath()
                                    : getLanguageKeyPath(record);
  error_output(2, __func__, __LINE__,
               "[PsCmdCollectionUnit]process %s cmdline %s, get keyFilePath %s, language %s",
               record.getMInterpreterPath().c_str(), record.getMProcessCmdline().c_str(),
               candidate.c_str(), record.getMInterpreterLanguage().c_str());
  // A path that was found when the record was made need not be looked for again.
  const bool known = candidate == record.getMProcessPath();
  if (!candidate.empty() && (known || isThere(candidate, record))) return candidate;
  error_output(0, __func__, __LINE__,
               "[PsCmdCollectionUnit]process %s get keyFilePath failed, replace by process path",
               candidate.c_str());
  record.setKeyFilePathFlag(false);
  return record.getMProcessPath();
}

}  // namespace LedgoraCollect
