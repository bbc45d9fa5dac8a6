// The layout of 64-bit ELF files, as far as the readers use it. Not every system has <elf.h>, and
// the readers compile on all. Source: System V Application Binary Interface, chapters 4 and 5, and
// its AMD64 supplement; the GNU additions are those of the Linux Standard Base.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_ELF_FORMAT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_ELF_FORMAT_H_

#include <cstddef>
#include <cstdint>

namespace CrashHandler::machine {

constexpr unsigned char kElfMagic[] = {0x7f, 'E', 'L', 'F'};
// Indices into ElfHeader::ident, and the values of 64-bit little-endian files.
constexpr size_t kElfClassAt = 4;
constexpr size_t kElfDataAt = 5;
constexpr unsigned char kElfClass64 = 2;
constexpr unsigned char kElfLittleEndian = 1;

struct ElfHeader {
  unsigned char ident[16];
  uint16_t type;
  uint16_t machine;
  uint32_t version;
  uint64_t entry;
  uint64_t program_headers;  // file offset
  uint64_t sections;         // file offset
  uint32_t flags;
  uint16_t header_size;
  uint16_t program_header_size;
  uint16_t program_header_count;
  uint16_t section_size;
  uint16_t section_count;  // 0: too many; the first section's size tells
  uint16_t section_names;
};

constexpr uint32_t kElfSegmentLoad = 1;
constexpr uint32_t kElfSegmentDynamic = 2;
constexpr uint32_t kElfSegmentNote = 4;
constexpr uint32_t kElfSegmentUnwindIndex = 0x6474e550;
constexpr uint32_t kElfSegmentExecutable = 1;  // a flag

struct ElfProgramHeader {
  uint32_t type;
  uint32_t flags;
  uint64_t offset;
  uint64_t address;
  uint64_t physical_address;
  uint64_t file_size;
  uint64_t memory_size;
  uint64_t alignment;
};

constexpr uint32_t kElfSectionSymbols = 2;
constexpr uint32_t kElfSectionStrings = 3;

struct ElfSection {
  uint32_t name;
  uint32_t type;
  uint64_t flags;
  uint64_t address;
  uint64_t offset;
  uint64_t size;
  uint32_t link;
  uint32_t info;
  uint64_t alignment;
  uint64_t entry_size;
};

constexpr unsigned char kElfSymbolSection = 3;
constexpr unsigned char kElfSymbolFile = 4;
constexpr unsigned char kElfSymbolThreadLocal = 6;

struct ElfSymbol {
  uint32_t name;
  unsigned char info;  // the type is in the lower half
  unsigned char other;
  uint16_t section;
  uint64_t value;
  uint64_t size;

  unsigned char type() const { return info & 15; }
};

constexpr int64_t kElfDynamicEnd = 0;
constexpr int64_t kElfDynamicHash = 4;
constexpr int64_t kElfDynamicStrings = 5;
constexpr int64_t kElfDynamicSymbols = 6;
constexpr int64_t kElfDynamicStringsSize = 10;
constexpr int64_t kElfDynamicGnuHash = 0x6ffffef5;

struct ElfDynamic {
  int64_t tag;
  uint64_t value;
};

constexpr uint32_t kElfNoteGnuBuildId = 3;

struct ElfNoteHeader {
  uint32_t name_size;
  uint32_t content_size;
  uint32_t type;
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_ELF_FORMAT_H_
