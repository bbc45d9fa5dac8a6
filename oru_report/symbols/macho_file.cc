#include "oru_report/symbols/macho_file.h"

#include <algorithm>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "oru_report/symbols/mapped_file.h"

namespace oru_report {
namespace {

constexpr uint32_t kMagic32 = 0xfeedface;
constexpr uint32_t kMagic64 = 0xfeedfacf;
constexpr uint32_t kMaxSlices = 32;

// Layouts as the platform fixes them.
struct Header {
  uint32_t magic, cpu_type, cpu_subtype, file_type, command_count, command_bytes, flags;
};
struct Command {
  uint32_t type, size;
};
struct Segment32 {
  uint32_t type, size;
  char name[16];
  uint32_t address, memory_size, offset, file_size, max_protection, protection, section_count,
      flags;
};
struct Segment64 {
  uint32_t type, size;
  char name[16];
  uint64_t address, memory_size, offset, file_size;
  uint32_t max_protection, protection, section_count, flags;
};
struct Section32 {
  char name[16], segment[16];
  uint32_t address, size, offset, align, relocations, relocation_count, flags, reserved[2];
};
struct Section64 {
  char name[16], segment[16];
  uint64_t address, size;
  uint32_t offset, align, relocations, relocation_count, flags, reserved[3];
};
struct SymbolTable {
  uint32_t type, size, symbols, count, strings, strings_size;
};

constexpr uint32_t kSegment32 = 1;
constexpr uint32_t kSymbolTable = 2;
constexpr uint32_t kSegment64 = 25;
constexpr uint32_t kUuid = 27;
constexpr uint32_t kLoadLibrary = 12;
constexpr uint32_t kLoadWeakLibrary = 0x80000018;
constexpr uint32_t kReexportLibrary = 0x8000001f;

// A name fills its field or ends with a zero.
std::string_view FieldText(std::string_view bytes, uint64_t at) {
  const std::string_view field = Part(bytes, at, 16);
  return field.substr(0, field.find('\0'));
}

template <typename Segment, typename Section>
void ReadSegment(std::string_view bytes, uint64_t at, uint64_t end, MachOFile* file) {
  Segment segment = {};
  if (!ReadRecord(bytes, at, &segment)) return;
  if (FieldText(bytes, at + 8) == "__TEXT") file->text_address = segment.address;
  uint64_t place = at + sizeof segment;
  for (uint32_t i = 0; i < segment.section_count && place + sizeof(Section) <= end; ++i) {
    Section section = {};
    if (!ReadRecord(bytes, place, &section)) return;
    file->sections.push_back(
        {FieldText(bytes, place + 16), FieldText(bytes, place), section.offset, section.size});
    place += sizeof section;
  }
}

void ReadCommand(std::string_view bytes, uint64_t at, const Command& command, MachOFile* file) {
  const uint64_t end = at + command.size;
  if (command.type == kSegment64) ReadSegment<Segment64, Section64>(bytes, at, end, file);
  if (command.type == kSegment32) ReadSegment<Segment32, Section32>(bytes, at, end, file);
  if (command.type == kUuid) {
    const std::string_view uuid = Part(bytes, at + 8, 16);
    file->uuid = rtc::hex_encode(uuid.data(), uuid.size());
  }
  const bool library = command.type == kLoadLibrary || command.type == kLoadWeakLibrary ||
                       command.type == kReexportLibrary;
  uint32_t name = 0;
  if (library && ReadRecord(bytes, at + 8, &name)) {
    file->libraries.push_back(TextAt(Part(bytes, at, command.size), name));
  }
  SymbolTable table = {};
  if (command.type == kSymbolTable && ReadRecord(bytes, at, &table)) {
    file->symbols = table.symbols;
    file->symbol_count = table.count;
    file->strings = table.strings;
    file->strings_size = table.strings_size;
  }
}

uint32_t BigEndian(std::string_view bytes, uint64_t at) {
  const std::string_view part = Part(bytes, at, 4);
  uint32_t value = 0;
  for (const char c : part) value = value << 8 | static_cast<unsigned char>(c);
  return value;
}

}  // namespace

bool ReadMachOFile(std::string_view slice, MachOFile* file) {
  *file = MachOFile();
  Header header = {};
  if (!ReadRecord(slice, 0, &header)) return false;
  if (header.magic != kMagic32 && header.magic != kMagic64) return false;
  file->is_64_bit = header.magic == kMagic64;
  file->cpu_type = header.cpu_type;
  file->file_type = header.file_type;
  uint64_t at = file->is_64_bit ? 32 : 28;
  const uint64_t end = std::min<uint64_t>(
      {at + header.command_bytes, static_cast<uint64_t>(slice.size()), kMaxMachOHeader});
  for (uint32_t i = 0; i < header.command_count; ++i) {
    Command command = {};
    if (!ReadRecord(slice, at, &command)) break;
    if (command.size < sizeof command || command.size > end - std::min(at, end)) break;
    ReadCommand(slice, at, command, file);
    at += command.size;
  }
  return true;
}

std::vector<MachOSlice> ReadMachOSlices(std::string_view bytes, uint64_t size) {
  uint32_t magic = 0;
  if (!ReadRecord(bytes, 0, &magic)) return {};
  if (magic == kMagic32 || magic == kMagic64) return {{0, size}};
  constexpr uint32_t kUniversal = 0xcafebabe;
  constexpr uint32_t kUniversal64 = 0xcafebabf;
  const uint32_t kind = BigEndian(bytes, 0);
  const uint32_t count = BigEndian(bytes, 4);
  // The first magic is that of Java's classes too, whose second number is a version above 40.
  if ((kind != kUniversal && kind != kUniversal64) || count > kMaxSlices) return {};
  std::vector<MachOSlice> slices;
  const uint64_t entry_size = kind == kUniversal ? 20 : 32;
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t at = 8 + i * entry_size + 8;
    MachOSlice slice;
    if (kind == kUniversal) {
      slice = {BigEndian(bytes, at), BigEndian(bytes, at + 4)};
    } else {
      slice.offset = uint64_t{BigEndian(bytes, at)} << 32 | BigEndian(bytes, at + 4);
      slice.size = uint64_t{BigEndian(bytes, at + 8)} << 32 | BigEndian(bytes, at + 12);
    }
    if (slice.offset < size && slice.size <= size - slice.offset) slices.push_back(slice);
  }
  return slices;
}

}  // namespace oru_report
