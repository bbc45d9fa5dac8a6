// The command line of `oru-report`.
#ifndef ORU_REPORT_COMMANDS_COMMAND_LINE_H_
#define ORU_REPORT_COMMANDS_COMMAND_LINE_H_

#include <string>
#include <vector>

#include "oru_report/commands/options.h"

namespace oru_report {

// Reads the arguments behind the program's name. Returns "" or a sentence about what is wrong.
std::string ParseOptions(const std::vector<std::string>& arguments, Options* options);

// What `--help` prints; that of one command, or of all for "".
std::string HelpText(const std::string& command);

}  // namespace oru_report

#endif  // ORU_REPORT_COMMANDS_COMMAND_LINE_H_
