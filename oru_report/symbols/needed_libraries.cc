#include "oru_report/symbols/needed_libraries.h"

#include "oru_report/symbols/elf_file.h"
#include "oru_report/symbols/macho_file.h"
#include "oru_report/symbols/mapped_file.h"

namespace oru_report {
namespace {

struct DynamicEntry {
  int64_t tag;
  uint64_t value;
};

constexpr int64_t kNeeded = 1;

std::vector<std::string> NeededByElf(std::string_view image) {
  std::vector<std::string> names;
  const std::vector<ElfSection> sections = ReadElfSections(image);
  for (const ElfSection& section : sections) {
    if (section.type != kElfDynamic) continue;
    const std::string_view strings = LinkedStrings(image, sections, section);
    for (uint64_t at = 0; at + sizeof(DynamicEntry) <= section.size; at += sizeof(DynamicEntry)) {
      DynamicEntry entry = {};
      if (!ReadRecord(image, section.offset + at, &entry) || entry.tag == 0) break;
      if (entry.tag == kNeeded) names.emplace_back(TextAt(strings, entry.value));
    }
  }
  return names;
}

}  // namespace

std::vector<std::string> NeededLibraries(std::string_view bytes, const BinarySlice& slice) {
  const std::string_view image = Part(bytes, slice.offset, slice.size);
  if (slice.kind == BinaryKind::kElf) return NeededByElf(image);
  MachOFile file;
  if (!ReadMachOFile(image, &file)) return {};
  return {file.libraries.begin(), file.libraries.end()};
}

}  // namespace oru_report
