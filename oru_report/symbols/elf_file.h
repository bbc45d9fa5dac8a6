// Layouts of 64-bit little-endian ELF files, as the format fixes them.
#ifndef ORU_REPORT_SYMBOLS_ELF_FILE_H_
#define ORU_REPORT_SYMBOLS_ELF_FILE_H_

#include <cstdint>
#include <string_view>
#include <vector>

namespace oru_report {

struct ElfSection {
  uint32_t name, type;
  uint64_t flags, address, offset, size;
  uint32_t link, info;
  uint64_t align, entry_size;
};

constexpr uint32_t kElfSymbols = 2;
constexpr uint32_t kElfDynamic = 6;
constexpr uint32_t kElfDynamicSymbols = 11;

// The section headers; empty for anything but such a file.
std::vector<ElfSection> ReadElfSections(std::string_view image);

// The bytes of the section that `section` is linked with: its strings.
std::string_view LinkedStrings(std::string_view image, const std::vector<ElfSection>& sections,
                               const ElfSection& section);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_ELF_FILE_H_
