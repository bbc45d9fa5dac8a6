// Which images a binary file holds: an ELF file one, a Mach-O file one or, a universal one,
// several.
#ifndef ORU_REPORT_SYMBOLS_BINARY_SLICES_H_
#define ORU_REPORT_SYMBOLS_BINARY_SLICES_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace oru_report {

enum class BinaryKind { kElf, kMachO };

struct BinarySlice {
  BinaryKind kind = BinaryKind::kElf;
  // Place in the file.
  uint64_t offset = 0;
  uint64_t size = 0;
  // The build id or UUID in lower-case hexadecimal digits, whole.
  std::string id;
  // The address that the image's start has in the file's own tables.
  uint64_t first_address = 0;
};

// The images of a file with an id. Only the magic is read of anything else, and of an image only
// its headers and notes.
std::vector<BinarySlice> ReadBinarySlices(int descriptor);

// Whether a report's id, which keeps 16 bytes and fills shorter ones with zeros, is of `file_id`.
bool IsReportedId(std::string_view file_id, std::string_view reported);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_BINARY_SLICES_H_
