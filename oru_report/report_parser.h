// Reads the text of a crash report.
#ifndef ORU_REPORT_REPORT_PARSER_H_
#define ORU_REPORT_REPORT_PARSER_H_

#include <string>

#include "oru_report/report_model.h"

namespace oru_report {

// Parses `text` into `report`. Any bytes are accepted: lines of no known form are kept as text.
// False, with a sentence in `error`, when the text is no crash report at all (it lacks the header
// or the backtrace sections).
bool ParseReport(const std::string& text, Report* report, std::string* error);

// Parses one backtrace line of any of the three forms that reports hold:
//   "image    0x00007f0012345678 symbol + 12"              threads
//   "3   image    0x00007f0012345678 symbol + 12"          crash thread, macOS
//   "/path/image(symbol+0xc) [0x7f0012345678]"             crash thread, Linux
Frame ParseFrame(const std::string& line);

}  // namespace oru_report

#endif  // ORU_REPORT_REPORT_PARSER_H_
