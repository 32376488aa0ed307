#pragma once

#include <elf.h>

#include <cstdio>
#include <string>

namespace LedgoraCollect {

/// What elf_parse looks for and finds.
struct elf_string_s {
  std::string result;      ///< set by the match
  std::string expression;  ///< regular expression to look for
};

/// True if the open file is a valid ELF file: 64 or 32 bit, either byte order.
/// Fills `header` in the host's byte order, a 32-bit header widened. The
/// stream is neither closed nor left at a certain position. `path` is for the
/// log.
bool check_elf_file(FILE* stream, const char* path, Elf64_Ehdr* header);

/// Walks the strings of the ELF file at `path`: runs of at least four
/// printable ASCII characters in the sections that hold data a program reads,
/// in file order; without section heads in the loadable segments that aren't
/// executable. Calls `match` with each text, the result string and the
/// expression, and stops at the first true. False if nothing matched or the
/// file is no ELF file. At most 256 MiB are walked.
bool elf_parse(const char* path, elf_string_s* strings,
               bool (*match)(std::string& text, std::string& result,
                             const std::string& expression));

}  // namespace LedgoraCollect
