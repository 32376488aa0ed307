#pragma once

#include <string>

namespace LedgoraCollect {

/// What the manifest of a Java archive says; empty where it says nothing.
struct JarManifest_S {
  std::string version;
  std::string mainClass;
};

/// Reads the text of a manifest: the version of the implementation, else that
/// of the bundle, and the main class.
JarManifest_S parseManifest(const std::string& text);

}  // namespace LedgoraCollect
