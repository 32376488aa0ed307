#include "common/support/ElfImage.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

#include "common/support/PlainFile.h"

namespace LedgoraCollect {
namespace {

// A table with more entries is taken as unusable. Linkers come nowhere near.
constexpr std::uint64_t kMostTableEntries = 256 * 1024;
constexpr std::string_view kCommentSection(".comment\0", 9);

/// Reads the fields of one entry of an ELF structure, whose width and byte
/// order the file's identification gives.
class Fields {
 public:
  Fields(std::string_view entry, const unsigned char* identification)
      : mEntry(entry),
        mWide(identification[EI_CLASS] == ELFCLASS64),
        mBigEndian(identification[EI_DATA] == ELFDATA2MSB) {}

  /// The field at the offset and of the width that it has in this class.
  std::uint64_t get(std::size_t offset64, std::size_t width64, std::size_t offset32,
                    std::size_t width32) const {
    return mWide ? read(offset64, width64) : read(offset32, width32);
  }

 private:
  std::uint64_t read(std::size_t offset, std::size_t width) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
      const std::size_t at = offset + (mBigEndian ? i : width - 1 - i);
      value = value << 8 | static_cast<unsigned char>(mEntry[at]);
    }
    return value;
  }

  std::string_view mEntry;
  bool mWide;
  bool mBigEndian;
};

#define ELF_FIELD(fields, type, member)                                      \
  (fields).get(offsetof(Elf64_##type, member), sizeof(Elf64_##type::member), \
               offsetof(Elf32_##type, member), sizeof(Elf32_##type::member))

struct Section {
  std::uint64_t name, type, flags, offset, size, link;
};

/// A table of heads in the file: where, how many, how long one is.
struct Table {
  std::uint64_t offset = 0;
  std::uint64_t count = 0;
  std::size_t entryBytes = 0;
};

bool isWide(const Elf64_Ehdr& header) { return header.e_ident[EI_CLASS] == ELFCLASS64; }

std::size_t sectionHeadBytes(const Elf64_Ehdr& header) {
  return isWide(header) ? sizeof(Elf64_Shdr) : sizeof(Elf32_Shdr);
}

std::size_t programHeadBytes(const Elf64_Ehdr& header) {
  return isWide(header) ? sizeof(Elf64_Phdr) : sizeof(Elf32_Phdr);
}

bool isWithin(const Table& table, std::uint64_t fileBytes) {
  return table.count > 0 && table.count <= kMostTableEntries && table.offset <= fileBytes &&
         table.count * table.entryBytes <= fileBytes - table.offset;
}

bool readTable(int descriptor, const Table& table, std::string& bytes) {
  bytes.resize(static_cast<std::size_t>(table.count) * table.entryBytes);
  return readAt(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(table.offset)) ==
         static_cast<ssize_t>(bytes.size());
}

Section parseSection(std::string_view entry, const Elf64_Ehdr& header) {
  const Fields fields(entry, header.e_ident);
  return {ELF_FIELD(fields, Shdr, sh_name),  ELF_FIELD(fields, Shdr, sh_type),
          ELF_FIELD(fields, Shdr, sh_flags), ELF_FIELD(fields, Shdr, sh_offset),
          ELF_FIELD(fields, Shdr, sh_size),  ELF_FIELD(fields, Shdr, sh_link)};
}

/// The section heads; empty if the header's words about them don't hold. A
/// count or a name table too large for its field stands in the first head.
std::vector<Section> readSections(int descriptor, const Elf64_Ehdr& header,
                                  std::uint64_t fileBytes) {
  Table table{header.e_shoff, 1, sectionHeadBytes(header)};
  if (header.e_shoff == 0 || header.e_shentsize != table.entryBytes) return {};
  std::string bytes;
  if (!isWithin(table, fileBytes) || !readTable(descriptor, table, bytes)) return {};
  table.count = header.e_shnum != 0 ? header.e_shnum : parseSection(bytes, header).size;
  if (!isWithin(table, fileBytes) || !readTable(descriptor, table, bytes)) return {};
  std::vector<Section> sections;
  sections.reserve(static_cast<std::size_t>(table.count));
  for (std::size_t at = 0; at < bytes.size(); at += table.entryBytes) {
    sections.push_back(parseSection({&bytes[at], table.entryBytes}, header));
  }
  return sections;
}

/// True if the section is named ".comment".
bool isComment(int descriptor, const Section& section, const Section& names) {
  if (section.name >= names.size || names.offset > INT64_MAX - section.name) return false;
  char text[kCommentSection.size()];
  const auto at = static_cast<off_t>(names.offset + section.name);
  return readAt(descriptor, text, sizeof text, at) == static_cast<ssize_t>(sizeof text) &&
         std::string_view(text, sizeof text) == kCommentSection;
}

/// Data that the running program reads, or a note: no code, no symbols or
/// relocations (which have types of their own), nothing compressed.
bool holdsLoadedData(const Section& section) {
  if ((section.flags & (SHF_EXECINSTR | SHF_COMPRESSED)) != 0) return false;
  if (section.type == SHT_NOTE) return true;
  return section.type == SHT_PROGBITS && (section.flags & SHF_ALLOC) != 0;
}

std::vector<ElfRange> sectionRanges(int descriptor, const Elf64_Ehdr& header,
                                    const std::vector<Section>& sections) {
  const std::uint64_t index =
      header.e_shstrndx == SHN_XINDEX ? sections.front().link : header.e_shstrndx;
  const Section* const names = index < sections.size() ? &sections[index] : nullptr;
  std::vector<ElfRange> ranges;
  for (const Section& section : sections) {
    // Of the sections that aren't loaded only the comment counts: the others
    // are for debuggers.
    const bool unloaded = section.type == SHT_PROGBITS && (section.flags & SHF_ALLOC) == 0 &&
                          (section.flags & SHF_COMPRESSED) == 0;
    if (holdsLoadedData(section) ||
        (unloaded && names != nullptr && isComment(descriptor, section, *names))) {
      ranges.push_back({section.offset, section.offset + section.size});
    }
  }
  return ranges;
}

std::vector<ElfRange> segmentRanges(int descriptor, const Elf64_Ehdr& header,
                                    std::uint64_t fileBytes) {
  const Table table{header.e_phoff, header.e_phnum, programHeadBytes(header)};
  std::string bytes;
  if (header.e_phentsize != table.entryBytes || !isWithin(table, fileBytes) ||
      !readTable(descriptor, table, bytes)) {
    return {};
  }
  std::vector<ElfRange> ranges;
  for (std::size_t at = 0; at < bytes.size(); at += table.entryBytes) {
    const Fields fields({&bytes[at], table.entryBytes}, header.e_ident);
    if (ELF_FIELD(fields, Phdr, p_type) != PT_LOAD) continue;
    if ((ELF_FIELD(fields, Phdr, p_flags) & PF_X) != 0) continue;
    const std::uint64_t begin = ELF_FIELD(fields, Phdr, p_offset);
    ranges.push_back({begin, begin + ELF_FIELD(fields, Phdr, p_filesz)});
  }
  return ranges;
}

/// Brings ranges into file order, cuts them to the file and drops what an
/// earlier one covers, so that crafted heads can't have a byte walked twice.
void tidyRanges(std::vector<ElfRange>& ranges, std::uint64_t fileBytes) {
  std::sort(ranges.begin(), ranges.end(),
            [](const ElfRange& a, const ElfRange& b) { return a.begin < b.begin; });
  std::uint64_t walked = 0;
  for (ElfRange& range : ranges) {
    if (range.end < range.begin) range.end = range.begin;  // the sum went round
    range.end = std::min(range.end, fileBytes);
    range.begin = std::max(range.begin, walked);
    walked = std::max(walked, range.end);
  }
  ranges.erase(std::remove_if(ranges.begin(), ranges.end(),
                              [](const ElfRange& range) { return range.begin >= range.end; }),
               ranges.end());
}

bool hasValidIdentification(std::string_view bytes) {
  if (bytes.size() < EI_NIDENT || bytes.substr(0, SELFMAG) != ELFMAG) return false;
  const auto at = [&bytes](int index) {
    return static_cast<unsigned char>(bytes[static_cast<std::size_t>(index)]);
  };
  return (at(EI_CLASS) == ELFCLASS32 || at(EI_CLASS) == ELFCLASS64) &&
         (at(EI_DATA) == ELFDATA2LSB || at(EI_DATA) == ELFDATA2MSB) && at(EI_VERSION) == EV_CURRENT;
}

}  // namespace

bool parseElfHeader(std::string_view bytes, Elf64_Ehdr& header) {
  if (!hasValidIdentification(bytes)) return false;
  Elf64_Ehdr parsed{};
  std::memcpy(parsed.e_ident, bytes.data(), EI_NIDENT);
  if (bytes.size() < (isWide(parsed) ? sizeof(Elf64_Ehdr) : sizeof(Elf32_Ehdr))) return false;
  const Fields fields(bytes, parsed.e_ident);
  parsed.e_type = static_cast<Elf64_Half>(ELF_FIELD(fields, Ehdr, e_type));
  parsed.e_machine = static_cast<Elf64_Half>(ELF_FIELD(fields, Ehdr, e_machine));
  parsed.e_version = static_cast<Elf64_Word>(ELF_FIELD(fields, Ehdr, e_version));
  parsed.e_entry = ELF_FIELD(fields, Ehdr, e_entry);
  parsed.e_phoff = ELF_FIELD(fields, Ehdr, e_phoff);
  parsed.e_shoff = ELF_FIELD(fields, Ehdr, e_shoff);
  parsed.e_flags = static_cast<Elf64_Word>(ELF_FIELD(fields, Ehdr, e_flags));
  parsed.e_ehsize = static_cast<Elf64_Half>(ELF_FIELD(fields, Ehdr, e_ehsize));
  parsed.e_phentsize = static_cast<Elf64_Half>(ELF_FIELD(fields, Ehdr, e_phentsize));
  parsed.e_phnum = static_cast<Elf64_Half>(ELF_FIELD(fields, Ehdr, e_phnum));
  parsed.e_shentsize = static_cast<Elf64_Half>(ELF_FIELD(fields, Ehdr, e_shentsize));
  parsed.e_shnum = static_cast<Elf64_Half>(ELF_FIELD(fields, Ehdr, e_shnum));
  parsed.e_shstrndx = static_cast<Elf64_Half>(ELF_FIELD(fields, Ehdr, e_shstrndx));
  if (parsed.e_type == ET_NONE || parsed.e_version != EV_CURRENT) return false;
  header = parsed;
  return true;
}

std::vector<ElfRange> elfDataRanges(int descriptor, const Elf64_Ehdr& header,
                                    std::uint64_t fileBytes) {
  const std::vector<Section> sections = readSections(descriptor, header, fileBytes);
  std::vector<ElfRange> ranges = sections.empty() ? segmentRanges(descriptor, header, fileBytes)
                                                  : sectionRanges(descriptor, header, sections);
  tidyRanges(ranges, fileBytes);
  return ranges;
}

}  // namespace LedgoraCollect
