#include "oru_report/symbols/symbol_table.h"

#include <algorithm>

#include "oru_report/symbols/macho_file.h"
#include "oru_report/symbols/mapped_file.h"

namespace oru_report {
namespace {

// Layouts as the formats fix them, little-endian.
struct ElfSymbol {
  uint32_t name;
  unsigned char info, other;
  uint16_t section;
  uint64_t value, size;
};
struct MachOSymbol {
  uint32_t name;
  uint8_t type, section;
  uint16_t description;
  uint64_t value;
};

constexpr unsigned kElfFunction = 2;
constexpr unsigned kElfIndirectFunction = 10;
constexpr size_t kMaxSymbols = size_t{16} << 20;

}  // namespace

SymbolTable::SymbolTable(std::string_view bytes, const BinarySlice& slice) {
  const std::string_view image = Part(bytes, slice.offset, slice.size);
  if (slice.kind == BinaryKind::kElf) {
    ReadElf(image);
  } else {
    ReadMachO(image);
  }
  SortAndEnd();
}

void SymbolTable::ReadElfTable(std::string_view image, const ElfSection& section,
                               std::string_view strings, bool exported) {
  const uint64_t count = std::min<uint64_t>(section.size / sizeof(ElfSymbol), kMaxSymbols);
  for (uint64_t i = 0; i < count; ++i) {
    ElfSymbol symbol = {};
    if (!ReadRecord(image, section.offset + i * sizeof symbol, &symbol)) return;
    const unsigned type = symbol.info & 0xFU;
    const bool code = type == kElfFunction || type == kElfIndirectFunction;
    if (!code || symbol.section == 0 || symbol.size == 0) continue;
    const std::string_view name = TextAt(strings, symbol.name);
    if (name.empty()) continue;
    symbols_.push_back({symbol.value, symbol.value + symbol.size, name, exported});
  }
}

void SymbolTable::ReadElf(std::string_view image) {
  const std::vector<ElfSection> sections = ReadElfSections(image);
  for (const ElfSection& section : sections) {
    const bool dynamic = section.type == kElfDynamicSymbols;
    if (!dynamic && section.type != kElfSymbols) continue;
    ReadElfTable(image, section, LinkedStrings(image, sections, section), dynamic);
  }
}

void SymbolTable::ReadMachO(std::string_view image) {
  MachOFile file;
  if (!ReadMachOFile(image, &file)) return;
  const std::string_view strings = Part(image, file.strings, file.strings_size);
  const size_t entry = file.is_64_bit ? 16 : 12;
  for (uint32_t i = 0; i < std::min<size_t>(file.symbol_count, kMaxSymbols); ++i) {
    MachOSymbol symbol = {};
    const uint64_t at = file.symbols + uint64_t{i} * entry;
    const std::string_view bytes = Part(image, at, entry);
    if (bytes.empty()) return;
    memcpy(&symbol, bytes.data(), entry);
    // Debugging entries aside, those defined in a section.
    if ((symbol.type & 0xE0U) != 0 || (symbol.type & 0x0EU) != 0x0E) continue;
    std::string_view name = TextAt(strings, symbol.name);
    if (!name.empty() && name[0] == '_') name.remove_prefix(1);
    // The end is the next one's start.
    if (!name.empty()) symbols_.push_back({symbol.value, 0, name, (symbol.type & 1U) != 0});
  }
}

void SymbolTable::SortAndEnd() {
  // Of names of one function the first stays, as the linker wrote them.
  std::stable_sort(symbols_.begin(), symbols_.end(),
                   [](const Symbol& a, const Symbol& b) { return a.start < b.start; });
  for (size_t i = 0; i < symbols_.size(); ++i) {
    if (symbols_[i].end != 0) continue;
    size_t next = i + 1;
    while (next < symbols_.size() && symbols_[next].start == symbols_[i].start) ++next;
    symbols_[i].end = next < symbols_.size() ? symbols_[next].start : UINT64_MAX;
    // All of one start have one end: each is passed once.
    for (size_t same = i + 1; same < next; ++same) symbols_[same].end = symbols_[i].end;
  }
}

const Symbol* SymbolTable::Find(uint64_t address) const {
  auto at =
      std::upper_bound(symbols_.begin(), symbols_.end(), address,
                       [](uint64_t wanted, const Symbol& symbol) { return wanted < symbol.start; });
  // One that ended may lie inside one that has not: a few steps back.
  for (int steps = 0; steps < 8 && at != symbols_.begin(); ++steps) {
    --at;
    if (address < at->end) return &*at;
  }
  return nullptr;
}

}  // namespace oru_report
