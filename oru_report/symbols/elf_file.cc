#include "oru_report/symbols/elf_file.h"

#include "oru_report/symbols/mapped_file.h"

namespace oru_report {
namespace {

struct ElfHeader {
  unsigned char identity[16];
  uint16_t type, machine;
  uint32_t version;
  uint64_t entry, segments, sections;
  uint32_t flags;
  uint16_t header_size, segment_size, segment_count, section_size, section_count, names;
};

}  // namespace

std::vector<ElfSection> ReadElfSections(std::string_view image) {
  std::vector<ElfSection> sections;
  ElfHeader header = {};
  const bool good = ReadRecord(image, 0, &header) &&
                    image.substr(0, 4) ==
                        "\x7f"
                        "ELF" &&
                    header.identity[4] == 2 && header.identity[5] == 1;
  for (uint16_t i = 0; good && i < header.section_count; ++i) {
    ElfSection section = {};
    if (!ReadRecord(image, header.sections + i * sizeof section, &section)) break;
    sections.push_back(section);
  }
  return sections;
}

std::string_view LinkedStrings(std::string_view image, const std::vector<ElfSection>& sections,
                               const ElfSection& section) {
  if (section.link >= sections.size()) return {};
  const ElfSection& strings = sections[section.link];
  return Part(image, strings.offset, strings.size);
}

}  // namespace oru_report
