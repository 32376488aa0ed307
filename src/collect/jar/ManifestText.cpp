#include "collect/jar/ManifestText.h"

#include "common/RegexUtils.h"

namespace LedgoraCollect {

namespace {

// The first that matches gives the version. None is bound to the beginning of
// a line, and the blanks may hold line ends.
constexpr const char* kVersionExpressions[] = {"Implementation-Version:\\s*(\\S+)",
                                               "Bundle-Version:\\s*(\\S+)"};
constexpr char kMainClassExpression[] = "Main-Class:\\s*(\\S+)";

}  // namespace

JarManifest_S parseManifest(const std::string& text) {
  JarManifest_S manifest;
  std::string searched = text;
  for (const char* expression : kVersionExpressions) {
    if (regex_interface(searched, manifest.version, expression)) break;
  }
  regex_interface(searched, manifest.mainClass, kMainClassExpression);
  return manifest;
}

}  // namespace LedgoraCollect
