// How Java archives are written.
#include "collect/jar/JarRecords.h"
#include "collect/support/JsonMembers.h"
#include "common/StringUtils.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "run/CollectBase.h"
#include "run/ListDocument.h"

namespace LedgoraCollect {

namespace {

bool addProcesses(cJSON* object, const JAR_PACKAGE_S& jar) {
  JsonHandle array(cJSON_CreateArray());
  if (!array) return false;
  for (const JAR_PROCESS_S& process : jar.processes) {
    cJSON* const element = cJSON_CreateObject();
    if (element == nullptr) break;
    addText(element, "name", process.name);
    addText(element, "pid", unsignedText(process.pid));
    // Milliseconds in form, seconds in precision.
    addText(element, "start_time", std::to_string(process.startTime) + "000");
    cJSON_AddItemToArray(array.get(), element);
  }
  cJSON_AddItemToObject(object, "processes", array.release());
  return true;
}

bool addJar(cJSON* object, const JAR_PACKAGE_S& jar, const std::string& name) {
  addText(object, "jar_name", name);
  addText(object, "jar_type", unsignedText(jar.type));
  addBool(object, "is_exec", jar.isExec);
  addText(object, "version", jar.version);
  addText(object, "service_type", jar.serviceType);
  addText(object, "abs_path", jar.absPath);
  addText(object, "md5", jar.md5);
  cJSON* const environment = cJSON_CreateObject();
  if (environment != nullptr) {
    addNumber(environment, "type", jar.environmentType);
    addText(environment, "id", jar.containerId);
    cJSON_AddItemToObject(object, "environment", environment);
  }
  return addProcesses(object, jar);
}

}  // namespace

int CollectBase::dataToJson(std::vector<JAR_PACKAGE_S>& list, cJSON* root) {
  ListDocument document(__func__);
  if (!document) return -1;
  for (const JAR_PACKAGE_S& jar : list) {
    if (!keepsRecord(!jar.containerId.empty())) {
      error_output(1, __func__, __LINE__, "Jar :%s will not output", jar.name.c_str());
      continue;
    }
    const std::string name = StringUtils::trim(jar.name, " \r\n\t");
    if (name.empty()) continue;
    cJSON* const object = document.append();
    if (object == nullptr) break;
    const bool complete = addJar(object, jar, name);
    if (!complete) break;
  }
  return document.addTo(root);
}

}  // namespace LedgoraCollect
