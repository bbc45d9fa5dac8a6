// A Mach-O file's debug information in the clothes of an ELF file, for readers of those.
#ifndef ORU_REPORT_SYMBOLS_MACHO_AS_ELF_H_
#define ORU_REPORT_SYMBOLS_MACHO_AS_ELF_H_

#include <cstddef>
#include <string_view>

#include "oru_report/symbols/binary_slices.h"
#include "oru_report/symbols/mapped_file.h"

namespace oru_report {

// Memory that begins with ELF headers, which name the "__DWARF" sections as ELF does, and goes on
// with the file itself: nothing is copied.
class MachOAsElf {
 public:
  // `descriptor`: the mapped file's, which may be closed afterwards.
  MachOAsElf(int descriptor, const MappedFile& file, const BinarySlice& slice);
  ~MachOAsElf();
  MachOAsElf(const MachOAsElf&) = delete;
  MachOAsElf& operator=(const MachOAsElf&) = delete;

  // Null when the slice has no debug information.
  char* data() const { return data_; }
  size_t size() const { return size_; }

 private:
  char* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_MACHO_AS_ELF_H_
