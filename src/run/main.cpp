#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>

#include "common/InspectedRoot.h"
#include "common/support/BoundedString.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "run/BuildText.h"
#include "run/CollectFilter.h"
#include "run/CollectManage.h"
#include "run/ExecLua.h"
#include "run/ProcessSetup.h"
#include "run/Usage.h"

using namespace LedgoraCollect;

// The code of a run, wherever an int says how one went: negative is failure,
// 0 success with nothing to report, otherwise the bytes of the document.

/// Answers a forbidden type: the same document whatever the type.
static int writeForbidden(CollectManage& manage, int type) {
  const JsonHandle document(cJSON_CreateObject());
  cJSON_AddItemToObject(document.get(), "collect_forbidden", cJSON_CreateString("forbidden"));
  const int code = manage.writeJsonFile(document.get(), manage.getCollectOutPath());
  error_output(2, __func__, __LINE__, "CollectManage collect type: %d is forbidden by filter json!",
               type);
  return code;
}

/// Fills and writes the document of a collector whose init() succeeded.
static int collectDocument(CollectManage& manage, CollectBase& collector, int type,
                           cJSON* document) {
  if (!document) {
    error_output(0, __func__, __LINE__, "type %d, create object failed", type);
    return -1;
  }
  if (!collector.collectImple(document)) {
    error_output(0, __func__, __LINE__, "type %d get json failed", type);
    return -1;
  }
  if (collector.getOption() & kOptionNoFile) {
    error_output(2, __func__, __LINE__, "type %d with option %d not required json file", type,
                 collector.getOption());
    return 0;
  }
  const int code = manage.writeJsonFile(document, manage.getCollectOutPath());
  if (code <= 0) error_output(0, __func__, __LINE__, "type %d writeJsonFile failed", type);
  return code;
}

/// One collector from the filter's question to the file.
static int collectBase(CollectManage& manage) {
  cJSON_Hooks hooks{std::malloc, std::free};
  cJSON_InitHooks(&hooks);
  const int type = manage.getCollectType();
  error_output(2, __func__, __LINE__, "CollectManage collect type: %d, result file: %s", type,
               manage.getCollectOutPath().c_str());
  if (CollectFilter::getInstance()->filterCollectType(type)) return writeForbidden(manage, type);

  const std::shared_ptr<CollectBase> collector =
      manage.creatCollectItem(static_cast<COLLECT_TYPE_E>(type));
  if (!collector) {
    error_output(0, __func__, __LINE__, "type %d is not support!", type);
    return -1;
  }
  collector->setOption(manage.getCollectOption());
  collector->setMode(manage.getCollectMode());
  collector->setEnv(manage.getCollectEnv());
  if (!collector->init()) {
    error_output(0, __func__, __LINE__, "type %d, init failed", type);
    return -1;
  }
  const JsonHandle document(cJSON_CreateObject());
  const int code = collectDocument(manage, *collector, type, document.get());
  collector->uinit();
  return code;
}

/// Web and database inventory: the software collector brings the cache up to
/// date without a document, then the script makes the document from it.
static int collectByScript(CollectManage& manage, int type) {
  if (!manage.setCollectType(E_COLLECT_SOFTWARE)) return -1;
  const std::string outPath = manage.getCollectOutPath();
  const std::string logPath = manage.getCollectLogPath();
  const int option = manage.getCollectOption();
  manage.setCollectOption(kOptionQuick | kOptionNoFile);
  if (collectBase(manage) != 0) return -1;
  error_output(2, __func__, __LINE__, "collect web/db with type: %d, path: %s", type,
               outPath.c_str());
  const std::string env = "env=" + manage.getCollectEnv();
  return execLua(outPath.c_str(), logPath.c_str(), static_cast<COLLECT_TYPE_E>(type), env.c_str(),
                 option);
}

static int collectRun(CollectManage& manage, int type) {
  if (static_cast<unsigned int>(type) - 1U > 1000U) {
    error_output(0, __func__, __LINE__, "collect type %d not supported!", type);
    return -1;
  }
  if (type < E_COLLECT_SCRIPT_FIRST || type > E_COLLECT_SCRIPT_LAST) return collectBase(manage);
  return collectByScript(manage, type);
}

/// Tells the parent the length of the document: its digits on standard output
/// and nothing else, in one write.
static void outCollectLen(int length) {
  char digits[1024] = {};
  str_snprintf(digits, sizeof digits, "%d", length);
  const std::size_t count = std::strlen(digits);
  if (write(STDOUT_FILENO, digits, count) != static_cast<ssize_t>(count)) {
    error_output(0, __func__, __LINE__, "write failed failed.");
  }
  error_output(2, __func__, __LINE__, "write pipe with length:%d", length);
}

/// collectRun, with the promise that nothing is thrown across main.
static int guardedRun(CollectManage& manage, int type) {
  try {
    return collectRun(manage, type);
  } catch (const std::exception& stopped) {
    error_output(0, __func__, __LINE__, "collect type %d stopped: %s", type, stopped.what());
    return -1;
  }
}

int main(int argc, char** argv) {
  CollectManage manage = CollectManage::getInstance();
  prepareProcess();
  if (!manage.parseCollectParam(argc, argv)) {
    explainArgument(manage.getRefusedArgument());
    return -1;
  }
  InspectedRoot::setEnvironment(manage.getCollectEnv());
  if (!manage.init()) {
    error_output(0, __func__, __LINE__, "ledgora collector init failed");
    return -1;
  }
  error_output(2, __func__, __LINE__, "ledgora agent build time: %s %s", kBuildDate, kBuildTime);
  const int type = manage.getCollectType();
  const int code = guardedRun(manage, type);
  if (code < 0) {
    error_output(0, __func__, __LINE__, "collect type %d failed with error code %d", type, code);
    return 0;
  }
  error_output(2, __func__, __LINE__, "collect type %d successful", type);
  if (code != 0) outCollectLen(code);
  return 0;
}
