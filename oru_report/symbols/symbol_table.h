// The names in a binary file's own symbol tables.
#ifndef ORU_REPORT_SYMBOLS_SYMBOL_TABLE_H_
#define ORU_REPORT_SYMBOLS_SYMBOL_TABLE_H_

#include <cstdint>
#include <string_view>
#include <vector>

#include "oru_report/symbols/binary_slices.h"
#include "oru_report/symbols/elf_file.h"

namespace oru_report {

// One function: [start, end) in the file's own addresses.
struct Symbol {
  uint64_t start = 0;
  uint64_t end = 0;
  // As stored; a Mach-O name without its first underscore.
  std::string_view name;
  // Whether other images can see it.
  bool exported = false;
};

class SymbolTable {
 public:
  // Reads the functions of a slice of a file whose bytes are `bytes`, which must outlive the table.
  SymbolTable(std::string_view bytes, const BinarySlice& slice);

  // The function that holds the address, or null: an address behind a function's end has no name.
  const Symbol* Find(uint64_t address) const;
  bool empty() const { return symbols_.empty(); }
  // By start. One that is exported may stand there twice, also as one of the file's own.
  const std::vector<Symbol>& symbols() const { return symbols_; }

 private:
  void ReadElf(std::string_view image);
  void ReadElfTable(std::string_view image, const ElfSection& section, std::string_view strings,
                    bool exported);
  void ReadMachO(std::string_view image);
  void SortAndEnd();

  std::vector<Symbol> symbols_;
};

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_SYMBOL_TABLE_H_
