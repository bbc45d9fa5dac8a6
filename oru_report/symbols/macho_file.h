// Readers of Mach-O files: bytes in, facts out. Little-endian ones, as all processors of the last
// twenty years have. No input makes a reader fault or loop without end.
#ifndef ORU_REPORT_SYMBOLS_MACHO_FILE_H_
#define ORU_REPORT_SYMBOLS_MACHO_FILE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace oru_report {

struct MachOSection {
  std::string_view segment;
  std::string_view name;
  // From the slice's start.
  uint64_t offset = 0;
  uint64_t size = 0;
};

struct MachOFile {
  bool is_64_bit = false;
  uint32_t cpu_type = 0;
  uint32_t file_type = 0;
  // Lower-case hexadecimal digits without "-".
  std::string uuid;
  uint64_t text_address = 0;
  std::vector<MachOSection> sections;
  // Paths of the libraries that it is linked with.
  std::vector<std::string_view> libraries;
  // The symbol table; count 0 without one.
  uint64_t symbols = 0;
  uint32_t symbol_count = 0;
  uint64_t strings = 0;
  uint64_t strings_size = 0;
};

// Bytes that a header and its load commands may take.
constexpr uint64_t kMaxMachOHeader = uint64_t{4} << 20;

// Reads the header and load commands that `slice` begins with. False when it begins with none.
bool ReadMachOFile(std::string_view slice, MachOFile* file);

struct MachOSlice {
  uint64_t offset = 0;
  uint64_t size = 0;
};

// The slices of a universal file, or the whole of another Mach-O file. `bytes` is the file's
// beginning, `size` the file's size. Empty for anything else.
std::vector<MachOSlice> ReadMachOSlices(std::string_view bytes, uint64_t size);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_MACHO_FILE_H_
