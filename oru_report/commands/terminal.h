// What a command may know about the terminal that it writes to.
#ifndef ORU_REPORT_COMMANDS_TERMINAL_H_
#define ORU_REPORT_COMMANDS_TERMINAL_H_

#include <cstddef>

namespace oru_report {

// Columns of the terminal that standard output is; 0 when it is none.
size_t TerminalWidth();

// Whether progress can be shown on standard error.
bool ShowsProgress();

}  // namespace oru_report

#endif  // ORU_REPORT_COMMANDS_TERMINAL_H_
