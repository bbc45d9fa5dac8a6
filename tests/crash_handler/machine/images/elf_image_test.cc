#include "media_core/biz_engine/crash_handler/machine/images/elf_image.h"

#include <elf.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/images/elf_format.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/unwind_tables.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler::machine {
namespace {

// A source over a string, with its first byte at position 0.
ByteSource SourceOf(const std::string& bytes) {
  return {[](const void* context, uint64_t position, void* destination, size_t count) {
            const auto& text = *static_cast<const std::string*>(context);
            if (position > text.size() || count > text.size() - position) return false;
            memcpy(destination, text.data() + position, count);
            return true;
          },
          &bytes};
}

std::string OwnPath() {
  char path[4096] = "";
  return readlink("/proc/self/exe", path, sizeof(path) - 1) < 0 ? "" : path;
}

template <typename T>
std::string Bytes(const T& value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
}

Elf64_Sym SymbolAt(uint64_t value, uint32_t name, unsigned char type = STT_FUNC) {
  Elf64_Sym symbol = {};
  symbol.st_value = value;
  symbol.st_name = name;
  symbol.st_info = static_cast<unsigned char>(ELF64_ST_INFO(STB_GLOBAL, type));
  return symbol;
}

// The matches of ascending addresses in a table of these symbols.
std::vector<SymbolQuery> Match(const std::vector<Elf64_Sym>& symbols,
                               const std::vector<uint64_t>& addresses, size_t buffer_size = 4096) {
  std::string bytes(reinterpret_cast<const char*>(symbols.data()),
                    symbols.size() * sizeof(Elf64_Sym));
  const ElfSymbolTable table = {0, symbols.size(), 0, 0};
  std::vector<SymbolQuery> queries(addresses.size());
  for (size_t i = 0; i < addresses.size(); ++i) queries[i].relative = addresses[i];
  std::vector<char> buffer(buffer_size);
  MatchElfSymbols(SourceOf(bytes), table, queries.data(), queries.size(), buffer.data(),
                  buffer.size());
  return queries;
}

// Each field of the project's own structures lies where the system's has it.
#define EXPECT_SAME_PLACE(own, own_field, system, system_field)        \
  EXPECT_EQ(offsetof(own, own_field), offsetof(system, system_field)); \
  EXPECT_EQ(sizeof(own::own_field), sizeof(system::system_field))

TEST(ElfFormatTest, StructuresAreLaidOutAsTheSystems) {
  EXPECT_EQ(sizeof(ElfHeader), sizeof(Elf64_Ehdr));
  EXPECT_SAME_PLACE(ElfHeader, ident, Elf64_Ehdr, e_ident);
  EXPECT_SAME_PLACE(ElfHeader, program_headers, Elf64_Ehdr, e_phoff);
  EXPECT_SAME_PLACE(ElfHeader, sections, Elf64_Ehdr, e_shoff);
  EXPECT_SAME_PLACE(ElfHeader, program_header_size, Elf64_Ehdr, e_phentsize);
  EXPECT_SAME_PLACE(ElfHeader, program_header_count, Elf64_Ehdr, e_phnum);
  EXPECT_SAME_PLACE(ElfHeader, section_size, Elf64_Ehdr, e_shentsize);
  EXPECT_SAME_PLACE(ElfHeader, section_count, Elf64_Ehdr, e_shnum);
  EXPECT_EQ(sizeof(ElfProgramHeader), sizeof(Elf64_Phdr));
  EXPECT_SAME_PLACE(ElfProgramHeader, type, Elf64_Phdr, p_type);
  EXPECT_SAME_PLACE(ElfProgramHeader, flags, Elf64_Phdr, p_flags);
  EXPECT_SAME_PLACE(ElfProgramHeader, offset, Elf64_Phdr, p_offset);
  EXPECT_SAME_PLACE(ElfProgramHeader, address, Elf64_Phdr, p_vaddr);
  EXPECT_SAME_PLACE(ElfProgramHeader, file_size, Elf64_Phdr, p_filesz);
  EXPECT_SAME_PLACE(ElfProgramHeader, memory_size, Elf64_Phdr, p_memsz);
  EXPECT_EQ(sizeof(ElfSection), sizeof(Elf64_Shdr));
  EXPECT_SAME_PLACE(ElfSection, type, Elf64_Shdr, sh_type);
  EXPECT_SAME_PLACE(ElfSection, offset, Elf64_Shdr, sh_offset);
  EXPECT_SAME_PLACE(ElfSection, size, Elf64_Shdr, sh_size);
  EXPECT_SAME_PLACE(ElfSection, link, Elf64_Shdr, sh_link);
  EXPECT_SAME_PLACE(ElfSection, entry_size, Elf64_Shdr, sh_entsize);
  EXPECT_EQ(sizeof(ElfSymbol), sizeof(Elf64_Sym));
  EXPECT_SAME_PLACE(ElfSymbol, name, Elf64_Sym, st_name);
  EXPECT_SAME_PLACE(ElfSymbol, info, Elf64_Sym, st_info);
  EXPECT_SAME_PLACE(ElfSymbol, value, Elf64_Sym, st_value);
  EXPECT_EQ(sizeof(ElfDynamic), sizeof(Elf64_Dyn));
  EXPECT_SAME_PLACE(ElfDynamic, tag, Elf64_Dyn, d_tag);
  EXPECT_SAME_PLACE(ElfDynamic, value, Elf64_Dyn, d_un);
  EXPECT_EQ(sizeof(ElfNoteHeader), sizeof(Elf64_Nhdr));
  EXPECT_SAME_PLACE(ElfNoteHeader, name_size, Elf64_Nhdr, n_namesz);
  EXPECT_SAME_PLACE(ElfNoteHeader, content_size, Elf64_Nhdr, n_descsz);
  EXPECT_SAME_PLACE(ElfNoteHeader, type, Elf64_Nhdr, n_type);
}

TEST(ElfFormatTest, ConstantsHaveTheSystemsValues) {
  EXPECT_EQ(memcmp(kElfMagic, ELFMAG, SELFMAG), 0);
  EXPECT_EQ(sizeof(kElfMagic), size_t{SELFMAG});
  const struct {
    int64_t own, system;
  } pairs[] = {{kElfClassAt, EI_CLASS},
               {kElfDataAt, EI_DATA},
               {kElfClass64, ELFCLASS64},
               {kElfLittleEndian, ELFDATA2LSB},
               {kElfSegmentLoad, PT_LOAD},
               {kElfSegmentDynamic, PT_DYNAMIC},
               {kElfSegmentNote, PT_NOTE},
               {kElfSegmentUnwindIndex, PT_GNU_EH_FRAME},
               {kElfSegmentExecutable, PF_X},
               {kElfSectionSymbols, SHT_SYMTAB},
               {kElfSectionStrings, SHT_STRTAB},
               {kElfSymbolSection, STT_SECTION},
               {kElfSymbolFile, STT_FILE},
               {kElfSymbolThreadLocal, STT_TLS},
               {kElfDynamicEnd, DT_NULL},
               {kElfDynamicHash, DT_HASH},
               {kElfDynamicStrings, DT_STRTAB},
               {kElfDynamicSymbols, DT_SYMTAB},
               {kElfDynamicStringsSize, DT_STRSZ},
               {kElfDynamicGnuHash, DT_GNU_HASH},
               {kElfNoteGnuBuildId, NT_GNU_BUILD_ID}};
  for (const auto& pair : pairs) EXPECT_EQ(pair.own, pair.system);
  const ElfSymbol symbol = {0, ELF64_ST_INFO(STB_WEAK, STT_TLS), 0, 0, 0, 0};
  EXPECT_EQ(symbol.type(), STT_TLS);
}

TEST(ElfSymbolsTest, TheNearestSymbolBelowIsTaken) {
  const auto matches = Match({SymbolAt(0x100, 1), SymbolAt(0x300, 3), SymbolAt(0x200, 2)},
                             {0xff, 0x100, 0x1ff, 0x200, 0x2ff, 0x300, 0x5000});
  EXPECT_FALSE(matches[0].found);
  const uint32_t expected[] = {0, 1, 1, 2, 2, 3, 3};
  for (size_t i = 1; i < matches.size(); ++i) EXPECT_EQ(matches[i].name, expected[i]) << i;
}

TEST(ElfSymbolsTest, OfTwoWithTheSameValueTheLaterInTheTableIsTaken) {
  EXPECT_EQ(Match({SymbolAt(0x100, 1), SymbolAt(0x100, 2), SymbolAt(0x50, 3)}, {0x180})[0].name,
            2U);
}

TEST(ElfSymbolsTest, ValuesOfZeroAreSkipped) {
  EXPECT_FALSE(Match({SymbolAt(0, 1)}, {0x180})[0].found);
}

TEST(ElfSymbolsTest, SectionsFilesAndThreadLocalsNameNoAddress) {
  const auto matches = Match({SymbolAt(0x10, 1), SymbolAt(0x100, 2, STT_SECTION),
                              SymbolAt(0x100, 3, STT_FILE), SymbolAt(0x100, 4, STT_TLS)},
                             {0x180});
  EXPECT_EQ(matches[0].name, 1U);
}

TEST(ElfSymbolsTest, OnePassGivesWhatALinearScanPerAddressGives) {
  std::mt19937_64 random(20170401);
  for (int round = 0; round < 200; ++round) {
    std::vector<Elf64_Sym> symbols;
    symbols.reserve(60);
    for (uint32_t i = 0; i < 60; ++i) symbols.push_back(SymbolAt(random() % 64, i));
    std::vector<uint64_t> addresses;
    addresses.reserve(20);
    for (int i = 0; i < 20; ++i) addresses.push_back(random() % 80);
    std::sort(addresses.begin(), addresses.end());
    // Sizes of the buffer that cut the table into pieces in many ways.
    const auto matches = Match(symbols, addresses, sizeof(Elf64_Sym) * (1 + random() % 7));
    for (size_t a = 0; a < addresses.size(); ++a) {
      const Elf64_Sym* nearest = nullptr;
      for (const Elf64_Sym& symbol : symbols) {
        if (symbol.st_value == 0 || symbol.st_value > addresses[a]) continue;
        if (nearest == nullptr || symbol.st_value >= nearest->st_value) nearest = &symbol;
      }
      ASSERT_EQ(matches[a].found, nearest != nullptr);
      if (nearest != nullptr) ASSERT_EQ(matches[a].name, nearest->st_name);
    }
  }
}

TEST(ElfNamesTest, ANameIsReadToItsEndAndCutToItsRoom) {
  const std::string long_name(300, 'n');
  const std::string strings = std::string("\0first\0", 7) + long_name + std::string(1, '\0');
  const ElfSymbolTable table = {0, 0, 0, strings.size()};
  char name[512];
  EXPECT_EQ(ReadElfName(SourceOf(strings), table, 1, name, sizeof(name)), 5U);
  EXPECT_STREQ(name, "first");
  EXPECT_EQ(ReadElfName(SourceOf(strings), table, 7, name, sizeof(name)), 300U);
  EXPECT_EQ(name, long_name);
  EXPECT_EQ(ReadElfName(SourceOf(strings), table, 7, name, 4), 3U);
  EXPECT_STREQ(name, "nnn");
}

TEST(ElfNamesTest, AnIndexOutsideTheStringsGivesAnEmptyName) {
  const std::string strings("\0x\0", 3);
  const ElfSymbolTable table = {0, 0, 0, strings.size()};
  char name[8] = "old";
  EXPECT_EQ(ReadElfName(SourceOf(strings), table, 3, name, sizeof(name)), 0U);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(ReadElfName(SourceOf(strings), table, 0xffffffff, name, sizeof(name)), 0U);
}

TEST(ElfBuildIdTest, IsFoundBehindOtherNotes) {
  const auto note = [](uint32_t type, const std::string& owner, const std::string& content) {
    const Elf64_Nhdr header = {static_cast<uint32_t>(owner.size()),
                               static_cast<uint32_t>(content.size()), type};
    std::string bytes = Bytes(header) + owner + content;
    bytes.resize((bytes.size() + 3) & ~size_t{3});
    return bytes;
  };
  const std::string gnu("GNU\0", 4);
  const std::string notes = note(NT_GNU_ABI_TAG, gnu, "12345") +
                            note(NT_GNU_BUILD_ID, std::string("Go\0", 3), "no") +
                            note(NT_GNU_BUILD_ID, gnu, "0123456789abcdefXYZ!");
  ElfBuildId id;
  ASSERT_TRUE(ReadElfBuildId(SourceOf(notes), 0, notes.size(), &id));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(id.bytes), id.size), "0123456789abcdefXYZ!");
  for (size_t cut = 0; cut < notes.size(); ++cut) {
    EXPECT_FALSE(ReadElfBuildId(SourceOf(notes), 0, cut, &id)) << cut;
  }
}

TEST(ElfImageTest, TheOwnFilesSegmentsAndSymbolsCanBeRead) {
  const std::string file = oru_test::ReadFile("/proc/self/exe");
  ElfSegments segments;
  ASSERT_TRUE(ReadElfSegments(SourceOf(file), 0, &segments));
  EXPECT_GE(segments.load_count, 2U);
  EXPECT_NE(segments.code.size, 0U);
  EXPECT_NE(segments.unwind_index.size, 0U);
  EXPECT_TRUE(segments.Holds(segments.code.address));
  EXPECT_TRUE(segments.HoldsCode(segments.code.address));
  EXPECT_FALSE(segments.HoldsCode(segments.code.address + segments.code.size));
  ElfSymbolTable table;
  ASSERT_TRUE(FindElfFileSymbols(SourceOf(file), &table));
  EXPECT_GT(table.count, 100U);
}

TEST(ElfImageTest, EverySymbolOfTheOwnFileIsTheOneTheSymbolListerGives) {
  const std::string file = oru_test::ReadFile("/proc/self/exe");
  ElfSymbolTable table;
  ASSERT_TRUE(FindElfFileSymbols(SourceOf(file), &table));
  const auto nm = oru_test::RunChild({LLVM_NM, "-p", "--defined-only", OwnPath()});
  int compared = 0;
  std::vector<char> buffer(64 * 1024);
  for (const std::string& line : oru_test::SplitLines(nm.out)) {
    if (line.size() < 20 || (line[17] != 't' && line[17] != 'T')) continue;
    if (++compared % 37 != 0) continue;  // a sample: each is a pass over the table
    const uint64_t value = std::stoull(line.substr(0, 16), nullptr, 16);
    SymbolQuery match;
    match.relative = value;
    MatchElfSymbols(SourceOf(file), table, &match, 1, buffer.data(), buffer.size());
    ASSERT_TRUE(match.found);
    EXPECT_EQ(match.value, value) << line;
  }
  EXPECT_GT(compared, 100);
}

TEST(ElfImageTest, SegmentsBeyondTheRoomAreHeldWhateverTheirOrder) {
  std::string table;
  for (uint64_t i = 0; i < 2 * kMaxLoadSegments; ++i) {
    Elf64_Phdr header = {};
    header.p_type = PT_LOAD;
    header.p_flags = PF_X;
    header.p_vaddr = 0x10000 * (2 * kMaxLoadSegments - i);
    header.p_memsz = 0x100;
    table += Bytes(header);
  }
  ElfSegments segments;
  ASSERT_TRUE(ReadElfProgramHeaders(SourceOf(table), 0, 2 * kMaxLoadSegments, &segments));
  EXPECT_EQ(segments.load_count, kMaxLoadSegments);
  EXPECT_EQ(segments.first, 0x10000U);
  for (uint64_t i = 1; i <= 2 * kMaxLoadSegments; ++i) {
    EXPECT_TRUE(segments.Holds(0x10000 * i) && segments.Holds(0x10000 * i + 0xff)) << i;
    EXPECT_TRUE(segments.HoldsCode(0x10000 * i)) << i;
  }
  EXPECT_FALSE(segments.Holds(0xffff));
  EXPECT_FALSE(segments.Holds(0x10000 * 2 * kMaxLoadSegments + 0x100));
}

TEST(ElfImageTest, WhatIsNoElfImageIsRefused) {
  ElfSegments segments;
  ElfSymbolTable table;
  std::string file = oru_test::ReadFile("/proc/self/exe").substr(0, 64);
  EXPECT_FALSE(ReadElfSegments(SourceOf(""), 0, &segments));
  EXPECT_FALSE(ReadElfSegments(SourceOf(std::string(64, 'x')), 0, &segments));
  file[EI_CLASS] = ELFCLASS32;
  EXPECT_FALSE(ReadElfSegments(SourceOf(file), 0, &segments));
  EXPECT_FALSE(FindElfFileSymbols(SourceOf(file), &table));
}

TEST(ElfImageTest, AFileCutAnywhereIsReadWithoutAFault) {
  const std::string file = oru_test::ReadFile("/proc/self/exe");
  for (size_t size = 0; size < file.size(); size += 1 + size / 7) {
    const std::string cut = file.substr(0, size);
    ElfSegments segments;
    if (ReadElfSegments(SourceOf(cut), 0, &segments)) EXPECT_GE(size, 64U);
    ElfSymbolTable table;
    FindElfFileSymbols(SourceOf(cut), &table);
    FindElfDynamicSymbols(SourceOf(cut), segments.dynamic, 0, &table);
  }
}

TEST(ElfImageTest, ADamagedHeaderIsReadWithoutAFault) {
  const std::string file = oru_test::ReadFile("/proc/self/exe");
  std::mt19937 random(7);
  std::string damaged = file.substr(0, std::min<size_t>(file.size(), 1 << 20));
  for (int round = 0; round < 300; ++round) {
    std::string copy = damaged.substr(0, 4096);
    for (int i = 0; i < 8; ++i) copy[16 + random() % 1000] = static_cast<char>(random());
    ElfSegments segments;
    ReadElfSegments(SourceOf(copy), 0, &segments);
    ElfSymbolTable table;
    FindElfDynamicSymbols(SourceOf(copy), {random() % 4096, 4096}, 0, &table);
    UnwindRow row;
    FindUnwindRow(SourceOf(copy), {random() % 4096, random() % 4096}, random(), &row);
  }
  SUCCEED() << "the checking builds look at every access";
}

// An image whose file is laid out as in memory, which holds for the first load segment only, in
// which the linker puts the unwind tables.
TEST(UnwindTablesTest, DamagedTablesAreReadWithoutAFaultAndWithoutEnd) {
  const std::string file = oru_test::ReadFile("/proc/self/exe");
  ElfSegments segments;
  ASSERT_TRUE(ReadElfSegments(SourceOf(file), 0, &segments));
  const ElfRange index = segments.unwind_index;
  std::mt19937_64 random(99);
  UnwindRow row;
  size_t found = 0;
  for (int i = 0; i < 500; ++i) {
    const uint64_t at = segments.code.address + random() % segments.code.size;
    if (FindUnwindRow(SourceOf(file), index, at, &row)) ++found;
  }
  EXPECT_GT(found, 100U) << "the undamaged tables answer";
  std::string damaged = file;
  for (int round = 0; round < 2000; ++round) {
    const size_t at = index.address + random() % (index.size * 4);
    if (at >= damaged.size()) continue;
    damaged[at] = static_cast<char>(random());
    const uint64_t address = segments.code.address + random() % segments.code.size;
    if (!FindUnwindRow(SourceOf(damaged), index, address, &row)) continue;
    UnwindRegisters registers = {};
    for (uint64_t& value : registers.value) value = random() % damaged.size();
    ApplyUnwindRow(SourceOf(damaged), row, &registers);
  }
}

TEST(UnwindTablesTest, ARowWithoutAReturnAddressIsTheOutermostFrame) {
  const std::string stack(256, '\1');
  UnwindRow row;
  row.frame_register = kUnwindRegisterRsp;
  UnwindRegisters registers = {};
  EXPECT_NE(ApplyUnwindRow(SourceOf(stack), row, &registers), UnwindStep::kDone)
      << "no rule at all";
  row.rules[kUnwindRegisterRip] = {UnwindRuleKind::kUndefined, 0};
  EXPECT_NE(ApplyUnwindRow(SourceOf(stack), row, &registers), UnwindStep::kDone);
  row.rules[kUnwindRegisterRip] = {UnwindRuleKind::kOffset, 8};
  row.frame_offset = 16;
  ASSERT_EQ(ApplyUnwindRow(SourceOf(stack), row, &registers), UnwindStep::kDone);
  EXPECT_EQ(registers.value[kUnwindRegisterRip], 0x0101010101010101U);
  EXPECT_EQ(registers.value[kUnwindRegisterRsp], 16U);
}

TEST(UnwindTablesTest, AnUnreadableStackLeavesTheRegistersAlone) {
  const std::string stack(8, '\0');
  UnwindRow row;
  row.frame_register = kUnwindRegisterRsp;
  row.rules[kUnwindRegisterRbp] = {UnwindRuleKind::kValueOffset, 1};
  row.rules[kUnwindRegisterRip] = {UnwindRuleKind::kOffset, 4096};
  UnwindRegisters registers = {};
  registers.value[kUnwindRegisterRbp] = 5;
  EXPECT_NE(ApplyUnwindRow(SourceOf(stack), row, &registers), UnwindStep::kDone);
  EXPECT_EQ(registers.value[kUnwindRegisterRbp], 5U);
}

}  // namespace
}  // namespace CrashHandler::machine
