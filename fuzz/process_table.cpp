#include "hostmodel/PsCmdCollectionUnit.h"

// Rows of ps. Their pids are looked up below a root that doesn't exist.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  LedgoraCollect::PsCmdCollectionUnit unit;
  unit.setEnvironment("/nonexistent");
  std::map<int, LedgoraCollect::ProcessCacheUnit> processes;
  const std::string text(reinterpret_cast<const char*>(data), size);
  unit.parseEOResult(text, processes);
  for (const std::string& word : LedgoraCollect::PsCmdCollectionUnit::parseEORow(text)) {
    LedgoraCollect::ProcessCacheUnit record;
    record.setProcessPath(word);
    record.setProcessCmdline(text);
    LedgoraCollect::PsCmdCollectionUnit::getInterpreterLanguage(record);
    LedgoraCollect::PsCmdCollectionUnit::getLanguageKeyPath(record);
    LedgoraCollect::PsCmdCollectionUnit::getStartTime(word, 2026, 1, 1);
  }
  return 0;
}
