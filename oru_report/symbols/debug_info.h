// Functions, files and lines from a binary file's debug information.
#ifndef ORU_REPORT_SYMBOLS_DEBUG_INFO_H_
#define ORU_REPORT_SYMBOLS_DEBUG_INFO_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "oru_report/symbols/binary_slices.h"
#include "oru_report/symbols/mapped_file.h"

namespace oru_report {

struct SourceFrame {
  // As stored (mangled); empty when unknown.
  std::string function;
  std::string file;
  int line = 0;
};

// Not for use from two threads at once.
class DebugInfo {
 public:
  virtual ~DebugInfo() = default;

  // The function that holds the address, a file's own, behind those that were inlined into it,
  // innermost first. Empty when nothing is known.
  virtual std::vector<SourceFrame> Find(uint64_t address) = 0;

  // Of how many compilation units something is kept in memory.
  virtual size_t units_read() const = 0;
};

// Null when the slice has no debug information, or this program was built without a reader.
// `file`, the mapped `descriptor`, must outlive the object.
std::unique_ptr<DebugInfo> OpenDebugInfo(int descriptor, const MappedFile& file,
                                         const BinarySlice& slice);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_DEBUG_INFO_H_
