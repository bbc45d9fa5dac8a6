#include "media_core/biz_engine/crash_handler/machine/images/elf_image.h"

#include <algorithm>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/images/elf_format.h"

namespace CrashHandler::machine {

namespace {

// More than any linker writes; they bound the work on damaged input.
constexpr size_t kMaxProgramHeaders = 256;
constexpr size_t kMaxSections = 100000;
constexpr uint64_t kMaxNotesSize = 1 << 20;
constexpr uint64_t kMaxDynamicEntries = 4096;
constexpr uint32_t kMaxChain = 1 << 16;
constexpr uint64_t kMaxSymbols = 1 << 26;

// Grows a range over another one and what lies between them; neither goes past the last address.
void Extend(ElfRange* range, const ElfRange& other) {
  const uint64_t end = std::max(range->address + range->size, other.address + other.size);
  range->address = std::min(range->address, other.address);
  range->size = end - range->address;
}

void AddLoad(const ElfProgramHeader& header, ElfSegments* segments) {
  const ElfRange load = {header.address, header.memory_size};
  if (load.size == 0 || load.address + load.size < load.address) return;
  if (segments->load_count == 0 || load.address < segments->first) segments->first = load.address;
  if (segments->load_count < kMaxLoadSegments) {
    segments->loads[segments->load_count++] = load;
  } else {
    Extend(&segments->loads[kMaxLoadSegments - 1], load);
  }
  if ((header.flags & kElfSegmentExecutable) == 0) return;
  if (segments->code.size == 0) {
    segments->code = load;
  } else {
    Extend(&segments->code, load);
  }
}

void AddProgramHeader(const ElfProgramHeader& header, ElfSegments* segments) {
  switch (header.type) {
    case kElfSegmentLoad:
      AddLoad(header, segments);
      break;
    case kElfSegmentDynamic:
      segments->dynamic = {header.address, header.memory_size};
      break;
    case kElfSegmentUnwindIndex:
      segments->unwind_index = {header.address, header.memory_size};
      break;
    case kElfSegmentNote:
      if (segments->note_count == kMaxNoteSegments) break;
      segments->notes[segments->note_count++] = {header.address, header.offset, header.file_size};
      break;
    default:
      break;
  }
}

uint64_t RoundUp4(uint64_t size) { return (size + 3) & ~uint64_t{3}; }

bool IsElf64(const ElfHeader& header) {
  return memcmp(header.ident, kElfMagic, sizeof(kElfMagic)) == 0 &&
         header.ident[kElfClassAt] == kElfClass64 && header.ident[kElfDataAt] == kElfLittleEndian;
}

bool IsSymbolTable(const ElfSection& section) {
  return section.type == kElfSectionSymbols && section.entry_size == sizeof(ElfSymbol);
}

// A symbol table's section tells which other section holds its strings.
bool ReadSymbolTable(const ByteSource& source, const ElfSection& section, uint64_t sections,
                     ElfSymbolTable* table) {
  ElfSection strings;
  const uint64_t at = sections + uint64_t{section.link} * sizeof(strings);
  if (!source.Read(at, &strings, sizeof(strings)) || strings.type != kElfSectionStrings)
    return false;
  table->symbols = section.offset;
  table->count = std::min(section.size / sizeof(ElfSymbol), kMaxSymbols);
  table->strings = strings.offset;
  table->strings_size = strings.size;
  return table->count != 0;
}

// The highest symbol index of a GNU hash table plus one; 0 when it cannot be told.
uint64_t CountGnuHash(const ByteSource& source, uint64_t address) {
  struct {
    uint32_t bucket_count, first_symbol, bloom_size, bloom_shift;
  } header;
  if (!source.Read(address, &header, sizeof(header)) || header.bucket_count > kMaxSymbols) return 0;
  const uint64_t buckets = address + sizeof(header) + uint64_t{header.bloom_size} * 8;
  uint32_t highest = 0;
  for (uint32_t done = 0; done < header.bucket_count;) {
    uint32_t piece[256];
    const uint32_t wanted = std::min<uint32_t>(256, header.bucket_count - done);
    if (!source.Read(buckets + uint64_t{done} * 4, piece, wanted * sizeof(uint32_t))) return 0;
    highest = std::max(highest, *std::max_element(piece, piece + wanted));
    done += wanted;
  }
  if (highest < header.first_symbol) {
    return header.first_symbol <= kMaxSymbols ? header.first_symbol : 0;
  }
  const uint64_t chains = buckets + uint64_t{header.bucket_count} * 4;
  for (uint32_t step = 0; step < kMaxChain && highest < kMaxSymbols; ++step, ++highest) {
    uint32_t hash;
    const uint64_t at = chains + uint64_t{highest - header.first_symbol} * 4;
    if (!source.Read(at, &hash, sizeof(hash))) return 0;
    if ((hash & 1) != 0) return uint64_t{highest} + 1;
  }
  return 0;
}

uint64_t CountSysvHash(const ByteSource& source, uint64_t address) {
  uint32_t header[2];
  if (!source.Read(address, header, sizeof(header))) return 0;
  return header[1] <= kMaxSymbols ? header[1] : 0;
}

bool NamesAnAddress(const ElfSymbol& symbol) {
  if (symbol.value == 0) return false;
  const unsigned char type = symbol.type();
  return type != kElfSymbolSection && type != kElfSymbolFile && type != kElfSymbolThreadLocal;
}

}  // namespace

bool ElfSegments::Holds(uint64_t address) const {
  for (size_t i = 0; i < load_count; ++i) {
    if (address - loads[i].address < loads[i].size) return true;
  }
  return false;
}

bool ElfBuildId::operator==(const ElfBuildId& other) const {
  return size == other.size && memcmp(bytes, other.bytes, size) == 0;
}

bool ReadElfProgramHeaders(const ByteSource& source, uint64_t position, size_t count,
                           ElfSegments* segments) {
  *segments = ElfSegments();
  count = std::min(count, kMaxProgramHeaders);
  constexpr size_t kPiece = 16;
  ElfProgramHeader headers[kPiece];
  for (size_t done = 0; done < count;) {
    const size_t wanted = std::min(kPiece, count - done);
    if (!source.Read(position + done * sizeof(ElfProgramHeader), headers,
                     wanted * sizeof(ElfProgramHeader))) {
      return false;
    }
    for (size_t i = 0; i < wanted; ++i) AddProgramHeader(headers[i], segments);
    done += wanted;
  }
  return segments->load_count != 0;
}

bool ReadElfSegments(const ByteSource& source, uint64_t position, ElfSegments* segments) {
  ElfHeader header;
  if (!source.Read(position, &header, sizeof(header)) || !IsElf64(header)) return false;
  if (header.program_header_size != sizeof(ElfProgramHeader)) return false;
  return ReadElfProgramHeaders(source, position + header.program_headers,
                               header.program_header_count, segments);
}

bool ReadElfBuildId(const ByteSource& source, uint64_t position, uint64_t size, ElfBuildId* id) {
  id->size = 0;
  size = std::min(size, kMaxNotesSize);
  for (uint64_t at = 0; size - at >= sizeof(ElfNoteHeader) && at <= size;) {
    ElfNoteHeader note;
    if (!source.Read(position + at, &note, sizeof(note))) return false;
    const uint64_t name = at + sizeof(note);
    const uint64_t content = name + RoundUp4(note.name_size);
    const uint64_t next = content + RoundUp4(note.content_size);
    if (note.type == kElfNoteGnuBuildId && note.name_size == sizeof("GNU")) {
      char owner[sizeof("GNU")];
      if (!source.Read(position + name, owner, sizeof(owner))) return false;
      if (memcmp(owner, "GNU", sizeof(owner)) == 0) {
        if (note.content_size == 0 || note.content_size > kMaxBuildIdSize) return false;
        if (content + note.content_size > size) return false;
        if (!source.Read(position + content, id->bytes, note.content_size)) return false;
        id->size = note.content_size;
        return true;
      }
    }
    at = next;
    if (at > size) return false;
  }
  return false;
}

bool FindElfFileSymbols(const ByteSource& source, ElfSymbolTable* table) {
  ElfHeader header;
  if (!source.Read(0, &header, sizeof(header)) || !IsElf64(header)) return false;
  if (header.section_size != sizeof(ElfSection) || header.sections == 0) return false;
  ElfSection section;
  uint64_t section_count = header.section_count;
  if (section_count == 0) {  // too many for the header: the count is in the first section
    if (!source.Read(header.sections, &section, sizeof(section))) return false;
    section_count = section.size;
  }
  section_count = std::min<uint64_t>(section_count, kMaxSections);
  constexpr uint64_t kPiece = 16;
  ElfSection sections[kPiece];
  for (uint64_t done = 0; done < section_count; done += kPiece) {
    const uint64_t wanted = std::min(kPiece, section_count - done);
    const uint64_t at = header.sections + done * sizeof(section);
    if (!source.Read(at, sections, wanted * sizeof(section))) return false;
    const ElfSection* found = std::find_if(sections, sections + wanted, IsSymbolTable);
    if (found == sections + wanted) continue;
    if (found->link >= section_count) return false;
    return ReadSymbolTable(source, *found, header.sections, table);
  }
  return false;
}

bool FindElfDynamicSymbols(const ByteSource& source, const ElfRange& dynamic, uint64_t bias,
                           ElfSymbolTable* table) {
  uint64_t gnu_hash = 0;
  uint64_t sysv_hash = 0;
  *table = ElfSymbolTable();
  // The loader replaces addresses in most images by final ones, but not in those it cannot write.
  const auto final_address = [bias](uint64_t value) { return value < bias ? value + bias : value; };
  const uint64_t entries = std::min(dynamic.size / sizeof(ElfDynamic), kMaxDynamicEntries);
  for (uint64_t i = 0; i < entries; ++i) {
    ElfDynamic entry;
    if (!source.Read(dynamic.address + i * sizeof(entry), &entry, sizeof(entry))) return false;
    if (entry.tag == kElfDynamicEnd) break;
    if (entry.tag == kElfDynamicSymbols) table->symbols = final_address(entry.value);
    if (entry.tag == kElfDynamicStrings) table->strings = final_address(entry.value);
    if (entry.tag == kElfDynamicStringsSize) table->strings_size = entry.value;
    if (entry.tag == kElfDynamicGnuHash) gnu_hash = final_address(entry.value);
    if (entry.tag == kElfDynamicHash) sysv_hash = final_address(entry.value);
  }
  if (table->symbols == 0 || table->strings == 0) return false;
  if (sysv_hash != 0) table->count = CountSysvHash(source, sysv_hash);
  if (table->count == 0 && gnu_hash != 0) table->count = CountGnuHash(source, gnu_hash);
  return table->count != 0;
}

void MatchElfSymbols(const ByteSource& source, const ElfSymbolTable& table, SymbolQuery* queries,
                     size_t count, void* buffer, size_t buffer_size) {
  for (size_t i = 0; i < count; ++i) queries[i].found = false;
  const size_t room = buffer_size / sizeof(ElfSymbol);
  if (count == 0 || room == 0) return;
  const uint64_t lowest = 1;
  const uint64_t highest = queries[count - 1].relative;
  for (uint64_t done = 0; done < table.count;) {
    const uint64_t wanted = std::min<uint64_t>(room, table.count - done);
    const uint64_t at = table.symbols + done * sizeof(ElfSymbol);
    if (!source.Read(at, buffer, wanted * sizeof(ElfSymbol))) break;
    const auto* symbols = static_cast<const ElfSymbol*>(buffer);
    for (uint64_t i = 0; i < wanted; ++i) {
      const ElfSymbol& symbol = symbols[i];
      if (symbol.value - lowest >= highest) continue;  // zero, or beyond every address
      if (!NamesAnAddress(symbol)) continue;
      OfferSymbol(symbol.value, symbol.name, symbol.type(), queries, count);
    }
    done += wanted;
  }
  CompleteQueries(queries, count);
}

size_t ReadElfName(const ByteSource& source, const ElfSymbolTable& table, uint32_t index,
                   char* name, size_t room) {
  if (room == 0) return 0;
  name[0] = '\0';
  size_t length = 0;
  while (length + 1 < room) {
    const uint64_t at = uint64_t{index} + length;
    if (at >= table.strings_size) break;
    const size_t wanted = std::min<uint64_t>({64, room - 1 - length, table.strings_size - at});
    if (!source.Read(table.strings + at, name + length, wanted)) break;
    const size_t piece = strnlen(name + length, wanted);
    length += piece;
    if (piece < wanted) break;
  }
  name[length] = '\0';
  return length;
}

}  // namespace CrashHandler::machine
