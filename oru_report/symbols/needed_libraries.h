// Which libraries a binary file is linked with.
#ifndef ORU_REPORT_SYMBOLS_NEEDED_LIBRARIES_H_
#define ORU_REPORT_SYMBOLS_NEEDED_LIBRARIES_H_

#include <string>
#include <string_view>
#include <vector>

#include "oru_report/symbols/binary_slices.h"

namespace oru_report {

// Their names as the file has them, in its order.
std::vector<std::string> NeededLibraries(std::string_view bytes, const BinarySlice& slice);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_NEEDED_LIBRARIES_H_
