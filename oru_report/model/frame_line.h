// Reads one line of a backtrace.
#ifndef ORU_REPORT_MODEL_FRAME_LINE_H_
#define ORU_REPORT_MODEL_FRAME_LINE_H_

#include <string_view>

#include "oru_report/model/report_model.h"

namespace oru_report {

// Parses any of the three forms that reports hold:
//   "image    0x00007f0012345678 symbol + 12"              threads
//   "3   image    0x00007f0012345678 symbol + 12"          crash thread, macOS
//   "/path/image(symbol+0xc) [0x7f0012345678]"             crash thread, Linux
// The frame's texts are views of `line`. A line of no known form is kept as text.
Frame ParseFrame(std::string_view line);

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_FRAME_LINE_H_
