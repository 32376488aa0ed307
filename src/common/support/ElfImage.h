#pragma once

#include <elf.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace LedgoraCollect {

/// A stretch of an ELF file, in bytes from its start.
struct ElfRange {
  std::uint64_t begin;
  std::uint64_t end;
};

/// Understands the first bytes of a file as an ELF header of 64 or 32 bit in
/// either byte order. Fills `header` in the host's byte order, a 32-bit header
/// widened. False if `bytes` hold no whole and valid header.
bool parseElfHeader(std::string_view bytes, Elf64_Ehdr& header);

/// The parts of the ELF file open at `descriptor` in which a program's data
/// stands, in file order, none twice, all within the file's size: the sections
/// of read-only and writable data, the comment and the notes; without usable
/// section heads the loadable segments that aren't executable.
std::vector<ElfRange> elfDataRanges(int descriptor, const Elf64_Ehdr& header,
                                    std::uint64_t fileBytes);

}  // namespace LedgoraCollect
