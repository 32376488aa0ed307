// package.json files, from the bytes of the file to the document.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "collect/NpmPkgInfoDefinition.h"
#include "common/support/Handles.h"
#include "common/support/JsonLayer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace LedgoraCollect;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const JsonHandle parsed(cJSON_Parse(text.c_str()));
  NpmPkgInfoDefinition::PKG_JSON package;
  NpmPkgInfoDefinition::parsePkgJson(parsed.get(), package);
  NpmPkgInfoDefinition packages;
  std::string commands;
  for (const auto& [name, command] : package.scripts) commands += name + ":" + command;
  packages.addPkgInfo(package.name, package.version, "/x", "global", "", commands);
  const JsonHandle document(cJSON_CreateObject());
  if (packages.dataToJson(document.get()) != 0) std::abort();
  const MallocText printed(printJsonDocument(document.get()));
  const JsonHandle again(cJSON_Parse(printed.get()));
  if (!cJSON_IsArray(cJSON_GetObjectItem(again.get(), "list"))) std::abort();
  return 0;
}
