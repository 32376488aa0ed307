// Any bytes as an ELF file: the header, the ranges chosen from its heads and
// the walk of the strings.
#include <cstdlib>
#include <string>

#include "ScratchFile.h"
#include "common/support/ElfStrings.h"

namespace {

bool isSane(std::string& text, std::string&, const std::string&) {
  if (text.empty() || text.size() > 4095) std::abort();
  for (const char byte : text) {
    if (byte < 0x20 || byte > 0x7E) std::abort();
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static ScratchFile file;
  file.write(data, size);
  LedgoraCollect::elf_string_s strings;
  LedgoraCollect::elf_parse(file.path(), &strings, isSane);
  return 0;
}
