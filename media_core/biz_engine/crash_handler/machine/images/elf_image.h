// Readers of ELF images and their symbol tables: bytes in, facts out.
//
// The bytes come from a file or from memory and are not trusted: every count and position is
// checked against what can be read, and no input makes a reader loop without end, allocate or
// fault. Only 64-bit little-endian images are read. May run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_ELF_IMAGE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_ELF_IMAGE_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/images/nearest_symbol.h"
#include "media_core/biz_engine/crash_handler/machine/memory/byte_source.h"

namespace CrashHandler::machine {

constexpr size_t kMaxLoadSegments = 8;
constexpr size_t kMaxNoteSegments = 4;
constexpr size_t kMaxBuildIdSize = 64;

struct ElfRange {
  uint64_t address = 0;
  uint64_t size = 0;
};

struct ElfNotes {
  uint64_t address;
  uint64_t offset;
  uint64_t size;
};

// What the program headers tell. Addresses are the image's own, without the loader's bias.
struct ElfSegments {
  ElfRange loads[kMaxLoadSegments];  // an image with more has the further ones within the last
  size_t load_count = 0;
  uint64_t first = 0;  // address of the first loaded byte
  ElfRange code;       // from the first to the last executable byte; size 0 without any
  ElfRange dynamic;
  ElfRange unwind_index;  // the table that PT_GNU_EH_FRAME points to
  ElfNotes notes[kMaxNoteSegments];
  size_t note_count = 0;

  // Whether a loaded segment holds the address.
  bool Holds(uint64_t address) const;
  bool HoldsCode(uint64_t address) const { return address - code.address < code.size; }
};

struct ElfBuildId {
  uint8_t bytes[kMaxBuildIdSize];
  size_t size = 0;  // 0: none

  bool operator==(const ElfBuildId& other) const;
};

// The program headers of the image whose ELF header is at `position`. False when that is no 64-bit
// little-endian ELF header, or no segment is loaded.
bool ReadElfSegments(const ByteSource& source, uint64_t position, ElfSegments* segments);

// The same from a table of `count` program headers at `position`.
bool ReadElfProgramHeaders(const ByteSource& source, uint64_t position, size_t count,
                           ElfSegments* segments);

// The GNU build id among the notes at `position`. False when there is none, or it is longer than
// kMaxBuildIdSize.
bool ReadElfBuildId(const ByteSource& source, uint64_t position, uint64_t size, ElfBuildId* id);

// A symbol table and its strings, as positions in their source.
struct ElfSymbolTable {
  uint64_t symbols = 0;
  uint64_t count = 0;
  uint64_t strings = 0;
  uint64_t strings_size = 0;
};

// The table ".symtab" of a file whose ELF header is at position 0. False when it has none.
bool FindElfFileSymbols(const ByteSource& source, ElfSymbolTable* table);

// The dynamic symbol table of a loaded image: `source` reads memory, `dynamic` is the address and
// size of its dynamic section, `bias` what the loader added. The count comes from the image's hash
// table. False when it has no such table.
bool FindElfDynamicSymbols(const ByteSource& source, const ElfRange& dynamic, uint64_t bias,
                           ElfSymbolTable* table);

// The nearest symbol (nearest_symbol.h) for every one of `count` addresses, which ascend. Left out
// are values of zero and entries that name no address: sections, source files, thread-local
// offsets. One pass over the table, read in pieces into `buffer`. A table that cannot be read to
// its end gives the matches of what could be read.
void MatchElfSymbols(const ByteSource& source, const ElfSymbolTable& table, SymbolQuery* queries,
                     size_t count, void* buffer, size_t buffer_size);

// Copies the name at an index of the strings, with a terminating zero, cut to the room. Returns its
// length; 0 for an index outside the strings.
size_t ReadElfName(const ByteSource& source, const ElfSymbolTable& table, uint32_t index,
                   char* name, size_t room);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_ELF_IMAGE_H_
