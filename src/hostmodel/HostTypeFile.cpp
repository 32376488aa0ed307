#include "hostmodel/HostTypeFile.h"

#include "common/StringUtils.h"
#include "hostmodel/PathCollectionUnit.h"

namespace LedgoraCollect {
namespace {

struct ServerSearch {
  ServerLineTest test;
  bool found = false;
};

bool searchServerCB(const std::string& line, void* context) {
  auto& search = *static_cast<ServerSearch*>(context);
  search.found = search.test(line);
  return search.found;
}

}  // namespace

bool lineNamesServer(const std::string& line) {
  std::string lowered = line;
  StringUtils::lower(lowered);
  return lowered.find("server") != std::string::npos;
}

bool hostTypeFromFile(const FileCollectionUnit& unit, const std::string& path, ServerLineTest test,
                      std::string& hostType) {
  PathCollectionUnit pathUnit;
  pathUnit.setEnvironment(unit.getMEnvironment());
  pathUnit.setTarget(unit.getMTarget());
  if (!pathUnit.isExist(path)) return false;
  ServerSearch search{test};
  // A directory or a fifo in the file's place decides as little as no file.
  if (!unit.readFileLines(path, searchServerCB, &search)) return false;
  hostType = search.found ? "server" : "pc";
  return true;
}

}  // namespace LedgoraCollect
