// Manifests of Java archives. What is found stands in the text and holds no blank.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "collect/jar/ManifestText.h"

namespace {

void check(const std::string& text, const std::string& value) {
  if (value.empty()) return;
  if (text.find(value) == std::string::npos) std::abort();
  if (value.find_first_of(" \t\r\n") != std::string::npos) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const LedgoraCollect::JarManifest_S manifest = LedgoraCollect::parseManifest(text);
  check(text, manifest.version);
  check(text, manifest.mainClass);
  return 0;
}
