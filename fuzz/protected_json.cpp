// Any bytes as a JSON file, and as the plain text of an enciphered one: both
// forms must give the same answer, and a changed byte of the latter none.
#include <cstdlib>
#include <string>
#include <string_view>

#include "ScratchFile.h"
#include "common/support/Cipher.h"
#include "common/support/Handles.h"
#include "common/support/JsonLayer.h"
#include "run/CollectJsonUtil.h"

using namespace LedgoraCollect;

namespace {

std::string parsed(ScratchFile& file, std::string_view content) {
  file.write(reinterpret_cast<const unsigned char*>(content.data()), content.size());
  const JsonHandle tree(ParseJsonFile(file.path()));
  const MallocText text(tree ? printJsonDocument(tree.get()) : nullptr);
  return text ? text.get() : "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static ScratchFile file;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string plain = parsed(file, text);
  std::string enciphered;
  if (!encipherFileContent(text, defaultCipherParameters(), enciphered)) std::abort();
  if (!hasCipherHeader(text) && parsed(file, enciphered) != plain) std::abort();
  enciphered[size % enciphered.size()] ^= 1;
  if (!parsed(file, enciphered).empty()) std::abort();
  return 0;
}
