#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "common/support/ElfStrings.h"
#include "common/support/Handles.h"
#include "support/PeakMemory.h"
#include "support/TempRoot.h"

using namespace LedgoraCollect;
using LedgoraTest::TempRoot;

namespace {

struct SectionPart {
  std::string name;
  std::uint32_t type;
  std::uint64_t flags;
  std::string content;
};

template <class T>
void append(std::string& out, const T& value) {
  out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

/// A 64-bit file with the given sections (and the names' section behind
/// them), and one loadable segment over `segment` where that isn't empty.
std::string elfFile(std::vector<SectionPart> parts, const std::string& segment = "") {
  parts.insert(parts.begin(), SectionPart{"", SHT_NULL, 0, ""});
  parts.push_back({".shstrtab", SHT_STRTAB, 0, ""});
  std::string names;
  std::vector<std::uint32_t> nameAt;
  for (const SectionPart& part : parts) {
    nameAt.push_back(static_cast<std::uint32_t>(names.size()));
    names += part.name + '\0';
  }
  parts.back().content = names;
  Elf64_Ehdr header{};
  std::string body;
  const std::size_t bodyAt = sizeof header + sizeof(Elf64_Phdr);
  std::string heads;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    Elf64_Shdr head{};
    head.sh_name = nameAt[i];
    head.sh_type = parts[i].type;
    head.sh_flags = parts[i].flags;
    head.sh_offset = bodyAt + body.size();
    head.sh_size = parts[i].content.size();
    append(heads, head);
    body += parts[i].content;
  }
  Elf64_Phdr program{};
  program.p_type = PT_LOAD;
  program.p_flags = PF_R;
  program.p_offset = bodyAt + body.size();
  program.p_filesz = segment.size();
  body += segment;
  std::memcpy(header.e_ident,
              "\x7f"
              "ELF\x02\x01\x01",
              7);
  header.e_type = ET_DYN;
  header.e_version = EV_CURRENT;
  header.e_phoff = sizeof header;
  header.e_phentsize = sizeof program;
  header.e_phnum = 1;
  header.e_shoff = bodyAt + body.size();
  header.e_shentsize = sizeof(Elf64_Shdr);
  header.e_shnum = static_cast<Elf64_Half>(parts.size());
  header.e_shstrndx = static_cast<Elf64_Half>(parts.size() - 1);
  std::string out;
  append(out, header);
  append(out, program);
  return out + body + heads;
}

std::string sampleElf() {
  return elfFile({{".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, "code-text"},
                  {".rodata", SHT_PROGBITS, SHF_ALLOC, std::string("abc\0v1.22\0\xC3\xBCtail", 16)},
                  {".dynstr", SHT_STRTAB, SHF_ALLOC, "symbol_name"},
                  {".rela", SHT_RELA, SHF_ALLOC, "relocation"},
                  {".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, "next\tline"},
                  {".note.x", SHT_NOTE, SHF_ALLOC, "note-text"},
                  {".bss", SHT_NOBITS, SHF_ALLOC | SHF_WRITE, "no-bits"},
                  {".debug_str", SHT_PROGBITS, 0, "debug-text"},
                  {".comment", SHT_PROGBITS, SHF_MERGE | SHF_STRINGS, "GCC: 12"}});
}

std::vector<std::string>* sTexts = nullptr;

bool keepText(std::string& text, std::string&, const std::string&) {
  sTexts->push_back(text);
  return false;
}

/// All texts of the file, joined by "|", long ones by their length.
std::string walked(const TempRoot& root, const char* name) {
  std::vector<std::string> texts;
  sTexts = &texts;
  elf_string_s strings;
  EXPECT_FALSE(elf_parse(root.path(name).c_str(), &strings, keepText));
  std::string joined;
  for (const std::string& text : texts) {
    joined +=
        (joined.empty() ? "" : "|") + (text.size() > 100 ? std::to_string(text.size()) : text);
  }
  return joined;
}

bool isElf(const TempRoot& root, const char* name) {
  const FileHandle file(std::fopen(root.path(name).c_str(), "rb"));
  Elf64_Ehdr header{};
  return check_elf_file(file.get(), name, &header);
}

}  // namespace

TEST(ElfStrings, WalksDataInFileOrderAndNothingElse) {
  TempRoot root;
  const std::string adjacent = elfFile({{".a", SHT_PROGBITS, SHF_ALLOC, "ab"},
                                        {".b", SHT_PROGBITS, SHF_ALLOC, "cd"},
                                        {".c", SHT_PROGBITS, SHF_ALLOC, "wxyz"}});
  std::string stripped = elfFile({}, "segment text");
  reinterpret_cast<Elf64_Ehdr*>(stripped.data())->e_shoff = 1ULL << 40;
  const struct {
    const char* what;
    std::string content, want;
  } cases[] = {
      {"all kinds", sampleElf(), "v1.22|tail|next|line|note-text|GCC: 12"},
      {"runs end with their section", adjacent, "wxyz"},
      {"without section heads", stripped, "segment text"},
      {"pieces", elfFile({{".r", SHT_PROGBITS, SHF_ALLOC, std::string(4095 * 2 + 2, 'x')}}),
       "4095|4095|xx"},
      {"runs over chunks",
       elfFile({{".r", SHT_PROGBITS, SHF_ALLOC, std::string(65534, '\0') + "over" + '\0'}}),
       "over"},
      {"no elf", "#!/bin/sh\necho text\n", ""},
      {"empty", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    root.file("elf", c.content);
    EXPECT_EQ(walked(root, "elf"), c.want);
  }
  root.fifo("fifo");
  EXPECT_EQ(walked(root, "fifo") + walked(root, "none"), "");
}

TEST(ElfStrings, StopsAtTheFirstMatch) {
  TempRoot root;
  root.file("elf", sampleElf());
  elf_string_s strings{"", "xt"};
  const auto match = [](std::string& text, std::string& result, const std::string& expression) {
    if (text.find(expression) == std::string::npos) return false;
    result += text;
    return true;
  };
  EXPECT_TRUE(elf_parse(root.path("elf").c_str(), &strings, match));
  EXPECT_EQ(strings.result, "next");
}

TEST(ElfStrings, FileCutOrChangedAnywhereNeverHurts) {
  TempRoot root;
  const std::string whole = sampleElf();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    root.file("cut", whole.substr(0, length));
    EXPECT_EQ(isElf(root, "cut"), length >= sizeof(Elf64_Ehdr)) << length;
    EXPECT_EQ(walked(root, "cut"), "") << length;  // the section heads stand last
  }
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string changed = whole;
    changed[at] = static_cast<char>(~changed[at]);
    root.file("changed", changed);
    walked(root, "changed");
  }
}

TEST(ElfStrings, CraftedHeadsCostNeitherMemoryNorSecondWalks) {
  TempRoot root;
  // Sixty thousand sections that all claim the same 4 MiB.
  std::string crafted = elfFile({{".r", SHT_PROGBITS, SHF_ALLOC, std::string(4 << 20, 'y')}});
  auto* const header = reinterpret_cast<Elf64_Ehdr*>(crafted.data());
  const std::string head = crafted.substr(header->e_shoff + sizeof(Elf64_Shdr), sizeof(Elf64_Shdr));
  header->e_shnum = 60000;
  crafted.resize(header->e_shoff);
  for (int i = 0; i < 60000; ++i) crafted += head;
  root.file("crafted", crafted);
  EXPECT_LT(LedgoraTest::peakMemoryKib([&root] {
              elf_string_s strings;
              long texts = 0;
              static long* counter;
              counter = &texts;
              elf_parse(
                  root.path("crafted").c_str(), &strings,
                  [](std::string&, std::string&, const std::string&) { return ++*counter > 1100; });
              return texts == (4 << 20) / 4095 + 1;
            }),
            16 * 1024);
}

TEST(CheckElfFile, BothClassesAndByteOrders) {
  TempRoot root;
  std::string big(sizeof(Elf32_Ehdr), '\0');
  big.replace(0, 7,
              "\x7f"
              "ELF\x01\x02\x01");
  big[17] = ET_EXEC;
  big[19] = EM_PPC;
  big[23] = EV_CURRENT;
  root.file("big", big)
      .copy("own", "/proc/self/exe")
      .file("text",
            "\x7f"
            "ELF");
  const FileHandle file(std::fopen(root.path("big").c_str(), "rb"));
  Elf64_Ehdr header{};
  ASSERT_TRUE(check_elf_file(file.get(), "big", &header));
  EXPECT_EQ(header.e_machine, EM_PPC);
  EXPECT_EQ(header.e_type, ET_EXEC);
  EXPECT_TRUE(isElf(root, "own"));
  EXPECT_FALSE(isElf(root, "text"));
  EXPECT_NE(walked(root, "own").find("GCC: "), std::string::npos);
}
