// ELF images: program headers, notes and symbol tables.
//
// An input is a byte of choices, three of addresses to look for, and an image that is read both as
// a file and as memory.
#include <elf.h>

#include <algorithm>
#include <vector>

#include "fuzz/fuzz_source.h"

using oru_fuzz::BlockSource;
using oru_fuzz::CountedSource;
using oru_fuzz::Require;

namespace machine = CrashHandler::machine;

namespace {

constexpr uint64_t kBiases[] = {0, 0x1234000, 0x7f1234567000, 0xffffffffff000000};
constexpr size_t kAddresses = 12;
constexpr uint64_t kExtent = 1 << 18;

struct Choices {
  oru_fuzz::Behind behind;  // the image
  uint64_t bias;
  size_t room;  // of the buffer for symbols
  std::vector<uint64_t> addresses;
};

Choices TakeChoices(oru_fuzz::Input* input) {
  const uint8_t bits = input->Byte();
  Choices choices = {oru_fuzz::BehindOf(bits), kBiases[bits >> 2 & 3], 0, {}};
  choices.room = sizeof(Elf64_Sym) * (size_t{1} << (bits >> 5)) + 5;
  const uint64_t first = input->Size();
  const uint64_t step = input->Byte();
  for (size_t i = 0; i < kAddresses; ++i) choices.addresses.push_back(first + i * step);
  if ((bits & 16) != 0) choices.addresses.back() = UINT64_MAX;
  return choices;
}

bool Same(const machine::ElfRange& a, const machine::ElfRange& b) {
  return a.address == b.address && a.size == b.size;
}

bool Same(const machine::ElfSymbolTable& a, const machine::ElfSymbolTable& b) {
  return a.symbols == b.symbols && a.count == b.count && a.strings == b.strings &&
         a.strings_size == b.strings_size;
}

bool Same(const machine::ElfSegments& a, const machine::ElfSegments& b) {
  bool same = a.load_count == b.load_count && a.note_count == b.note_count && a.first == b.first &&
              Same(a.code, b.code) && Same(a.dynamic, b.dynamic) &&
              Same(a.unwind_index, b.unwind_index);
  for (size_t i = 0; same && i < a.load_count; ++i) same = Same(a.loads[i], b.loads[i]);
  for (size_t i = 0; same && i < a.note_count; ++i) {
    same = a.notes[i].offset == b.notes[i].offset && a.notes[i].size == b.notes[i].size &&
           a.notes[i].address == b.notes[i].address;
  }
  return same;
}

// Every loaded byte is held, every executable one is code.
void CheckSegment(const Elf64_Phdr& header, const machine::ElfSegments& segments) {
  const uint64_t last = header.p_vaddr + header.p_memsz - 1;
  if (header.p_type != PT_LOAD || header.p_memsz == 0 || last + 1 <= header.p_vaddr) return;
  Require(segments.first <= header.p_vaddr, "the first address is below every segment");
  Require(segments.Holds(header.p_vaddr) && segments.Holds(last), "a loaded segment is held");
  if ((header.p_flags & PF_X) == 0) return;
  Require(segments.HoldsCode(header.p_vaddr) && segments.HoldsCode(last), "executable is code");
}

bool CheckSegments(CountedSource* file, machine::ElfSegments* segments) {
  const bool good = machine::ReadElfSegments(file->source(), 0, segments);
  file->RequireReads(1 + 256 / 16, "reads of program headers");
  const BlockSource blocks(*file, file->extent());
  machine::ElfSegments again;
  Require(machine::ReadElfSegments(blocks.source(), 0, &again) == good, "segments by blocks");
  if (!good) return false;
  Require(Same(*segments, again), "segments by blocks");
  Elf64_Ehdr header;
  Require(file->ReadValue(0, &header), "an image has a header");
  Require(memcmp(header.e_ident, ELFMAG, SELFMAG) == 0, "an image has the magic");
  Require(machine::ReadElfProgramHeaders(file->uncounted(), header.e_phoff, header.e_phnum, &again),
          "program headers by their table");
  Require(Same(*segments, again), "program headers by their table");
  const size_t count = std::min<size_t>(header.e_phnum, 256);
  for (size_t i = 0; i < count; ++i) {
    Elf64_Phdr one;
    Require(file->ReadValue(header.e_phoff + i * sizeof(one), &one), "what was read is there");
    CheckSegment(one, *segments);
  }
  return true;
}

// The content of the first build id, note by note; empty when there is none.
std::string BuildIdReference(const CountedSource& file, uint64_t position, uint64_t size) {
  Elf64_Nhdr note;
  for (uint64_t at = 0; at + sizeof(note) <= size; at += sizeof(note)) {
    char owner[4];
    if (!file.ReadValue(position + at, &note)) return "";
    const uint64_t name = position + at + sizeof(note);
    const uint64_t name_size = (uint64_t{note.n_namesz} + 3) / 4 * 4;
    const uint64_t content_size = (uint64_t{note.n_descsz} + 3) / 4 * 4;
    if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4) {
      if (!file.ReadValue(name, &owner)) return "";
      if (memcmp(owner, "GNU", 4) == 0) {
        std::string id(std::min<size_t>(note.n_descsz, machine::kMaxBuildIdSize + 1), '\0');
        const bool inside = at + sizeof(note) + name_size + note.n_descsz <= size;
        const bool good = inside && id.size() <= machine::kMaxBuildIdSize &&
                          file.Read(name + name_size, &id[0], id.size());
        return good ? id : "";
      }
    }
    at += name_size + content_size;
  }
  return "";
}

void CheckNotes(CountedSource* file, const machine::ElfSegments& segments) {
  Require(segments.note_count <= machine::kMaxNoteSegments, "note count");
  for (size_t i = 0; i < segments.note_count; ++i) {
    const machine::ElfNotes& notes = segments.notes[i];
    const uint64_t size = std::min<uint64_t>(notes.size, 1 << 20);
    machine::ElfBuildId id;
    const bool good = machine::ReadElfBuildId(file->source(), notes.offset, notes.size, &id);
    file->RequireReads(2 * (size / sizeof(Elf64_Nhdr)) + 1, "reads of notes");
    const std::string expected = BuildIdReference(*file, notes.offset, size);
    Require(good == !expected.empty() && id.size == expected.size(), "build id's size");
    Require(memcmp(id.bytes, expected.data(), id.size) == 0, "build id");
  }
}

bool NamesAnAddress(const Elf64_Sym& symbol) {
  const int type = ELF64_ST_TYPE(symbol.st_info);
  return symbol.st_value != 0 && type != STT_SECTION && type != STT_FILE && type != STT_TLS;
}

// Symbols are read by whole buffers; what does not fill one before the end of the bytes is lost.
std::vector<Elf64_Sym> ReadableSymbols(const CountedSource& bytes,
                                       const machine::ElfSymbolTable& table, size_t room) {
  std::vector<Elf64_Sym> symbols;
  for (uint64_t done = 0; done < table.count;) {
    const size_t wanted = std::min<uint64_t>(room, table.count - done);
    const size_t known = symbols.size();
    std::vector<Elf64_Sym> piece(wanted);
    if (!bytes.Read(table.symbols + done * sizeof(Elf64_Sym), piece.data(),
                    wanted * sizeof(Elf64_Sym)))
      break;
    symbols.resize(known + wanted);
    std::copy(piece.begin(), piece.end(), symbols.begin() + static_cast<ptrdiff_t>(known));
    done += wanted;
  }
  return symbols;
}

void CheckName(CountedSource* bytes, const machine::ElfSymbolTable& table, uint32_t index,
               size_t room) {
  oru_test::GuardedBuffer buffer(room);
  const size_t length = machine::ReadElfName(bytes->source(), table, index, buffer.data(), room);
  bytes->RequireReads(room / 64 + 1, "reads of a name");
  Require(buffer.Intact() && length < room && buffer.data()[length] == '\0', "a name fits");
  for (size_t i = 0; i < length; ++i) {
    char expected = '\0';
    Require(bytes->Read(table.strings + index + i, &expected, 1), "a name is where it says");
    Require(buffer.data()[i] == expected && expected != '\0', "a name's characters");
    Require(uint64_t{index} + i < table.strings_size, "a name lies in the strings");
  }
}

void CheckMatches(CountedSource* bytes, const machine::ElfSymbolTable& table,
                  const Choices& choices) {
  const size_t room = choices.room / sizeof(Elf64_Sym);
  std::vector<uint64_t> buffer(choices.room / sizeof(uint64_t));
  machine::SymbolQuery matches[kAddresses];
  for (size_t i = 0; i < kAddresses; ++i) matches[i].relative = choices.addresses[i];
  machine::MatchElfSymbols(bytes->source(), table, matches, kAddresses, buffer.data(),
                           buffer.size() * sizeof(uint64_t));
  bytes->RequireReads(bytes->extent() / sizeof(Elf64_Sym) / room + 2, "reads of symbols");
  const std::vector<Elf64_Sym> symbols = ReadableSymbols(*bytes, table, room);
  for (size_t i = 0; i < kAddresses; ++i) {
    const Elf64_Sym* nearest = nullptr;
    for (const Elf64_Sym& symbol : symbols) {
      if (!NamesAnAddress(symbol) || symbol.st_value > choices.addresses[i]) continue;
      if (nearest == nullptr || symbol.st_value >= nearest->st_value) nearest = &symbol;
    }
    Require(matches[i].found == (nearest != nullptr), "a symbol is found");
    if (nearest == nullptr) continue;
    Require(matches[i].value == nearest->st_value, "the nearest symbol");
    Require(matches[i].name == nearest->st_name, "the last of the nearest symbols");
    CheckName(bytes, table, matches[i].name, 1 + choices.room % 200);
  }
}

void CheckFileSymbols(CountedSource* file, const Choices& choices) {
  machine::ElfSymbolTable table;
  const bool good = machine::FindElfFileSymbols(file->source(), &table);
  file->RequireReads(3 + 100000 / 16, "reads of sections");
  const BlockSource blocks(*file, file->extent());
  machine::ElfSymbolTable again;
  Require(machine::FindElfFileSymbols(blocks.source(), &again) == good, "sections by blocks");
  if (!good) return;
  Require(Same(table, again), "sections by blocks");
  Require(table.count != 0, "a table has symbols");
  CheckMatches(file, table, choices);
}

// The end of the longest chain, starting from every bucket; 0 when that cannot be told.
uint64_t GnuHashReference(const CountedSource& memory, uint64_t at) {
  uint32_t header[4];
  if (!memory.ReadValue(at, &header)) return 0;
  const uint64_t buckets = at + sizeof(header) + uint64_t{header[2]} * 8;
  const uint64_t chains = buckets + uint64_t{header[0]} * 4;
  uint64_t end = 0;
  for (uint32_t i = 0; i < header[0]; ++i) {
    uint32_t symbol = 0;
    if (!memory.ReadValue(buckets + uint64_t{i} * 4, &symbol)) return 0;
    if (symbol < header[1]) continue;
    for (uint32_t hash = 0; (hash & 1) == 0; ++symbol) {
      if (!memory.ReadValue(chains + uint64_t{symbol - header[1]} * 4, &hash)) return 0;
      if (symbol == UINT32_MAX) return 0;
    }
    end = std::max<uint64_t>(end, symbol);
  }
  return end;
}

void CheckDynamicCount(const CountedSource& memory, const machine::ElfRange& dynamic,
                       const Choices& choices, uint64_t count) {
  uint64_t gnu_hash = 0;
  uint64_t sysv_hash = 0;
  for (uint64_t i = 0; i < dynamic.size / sizeof(Elf64_Dyn); ++i) {
    Elf64_Dyn entry;
    if (!memory.ReadValue(dynamic.address + i * sizeof(entry), &entry)) return;
    if (entry.d_tag == DT_NULL) break;
    const uint64_t value = entry.d_un.d_ptr;
    const uint64_t address = value < choices.bias ? value + choices.bias : value;
    if (entry.d_tag == DT_GNU_HASH) gnu_hash = address;
    if (entry.d_tag == DT_HASH) sysv_hash = address;
  }
  uint32_t sizes[2] = {};
  if (sysv_hash != 0 && memory.ReadValue(sysv_hash, &sizes) && sizes[1] == count) return;
  if (choices.behind != oru_fuzz::Behind::kNothing || gnu_hash == 0) return;
  const uint64_t end = GnuHashReference(memory, gnu_hash);
  if (end != 0) Require(count == end, "the hash table's count");
}

void CheckDynamicSymbols(const std::string& image, const machine::ElfSegments& segments,
                         const Choices& choices) {
  CountedSource memory(image, choices.bias, choices.behind, kExtent, 0xff);
  const machine::ElfRange dynamic = {choices.bias + segments.dynamic.address,
                                     segments.dynamic.size};
  machine::ElfSymbolTable table;
  const bool good = machine::FindElfDynamicSymbols(memory.source(), dynamic, choices.bias, &table);
  memory.RequireReads(4096 + 2 + memory.extent() / 1024 + 1 + (1 << 16), "reads of a hash table");
  const BlockSource blocks(memory);
  machine::ElfSymbolTable again;
  Require(machine::FindElfDynamicSymbols(blocks.source(), dynamic, choices.bias, &again) == good,
          "dynamic symbols by blocks");
  if (!good) return;
  Require(Same(table, again), "dynamic symbols by blocks");
  Require(table.count != 0, "a dynamic table has symbols");
  CheckDynamicCount(memory, dynamic, choices, table.count);
  CheckMatches(&memory, table, choices);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const Choices choices = TakeChoices(&input);
  const std::string image = input.Rest();
  CountedSource file(image, 0, choices.behind, kExtent);
  machine::ElfSegments segments;
  if (CheckSegments(&file, &segments)) {
    CheckNotes(&file, segments);
    CheckDynamicSymbols(image, segments, choices);
  }
  CheckFileSymbols(&file, choices);
  return 0;
}
