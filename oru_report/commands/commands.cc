#include "oru_report/commands/commands.h"

#include <cstdio>

#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

constexpr size_t kAnyNumber = SIZE_MAX;

}  // namespace

const std::vector<Command>& AllCommands() {
  static const std::vector<Command> commands = {
      {"list", "list [--json] [FILTER]... PATH...", "the reports in a folder, newest first", 1,
       kAnyNumber, "a file or folder", &RunList},
      {"show",
       "show [--color WHEN] [--symbols PATH]... [--with-log LOG] [--with-trace TRACE] [FILTER]... "
       "PATH...",
       "a report: what crashed, where and whose, then everything else", 1, kAnyNumber,
       "a file or folder", &RunShow},
      {"html",
       "html [--output FILE] [--group] [--symbols PATH]... [--sources DIR]... [FILTER]... PATH",
       "the same as one self-contained page, on standard output or in a file", 1, 1, "one file",
       &RunHtml},
      {"json", "json [--symbols PATH]... [FILTER]... PATH...",
       "reports for machines, an object a line", 1, kAnyNumber, "a file or folder", &RunJson},
      {"group", "group [--json] [FILTER]... PATH...",
       "equal crashes together, with counts, versions, times and an example", 1, kAnyNumber,
       "a file or folder", &RunGroup},
      {"diff", "diff [--json] [FILTER]... A B",
       "what differs between two reports, or two folders of them", 2, 2, "two files or folders",
       &RunDiff},
      {"doctor", "doctor [--dump-dir DIR] [--json] PROGRAM [FUNCTION]",
       "whether a program's crashes would be reported, and why not", 1, 2,
       "one program, and a function of it if you like", &RunDoctor},
  };
  return commands;
}

const Command* FindCommand(const std::string& name) {
  for (const Command& command : AllCommands()) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

int TellError(const std::string& message, int status) {
  fprintf(stderr, "oru-report: %s\n", ForTerminal(message).c_str());
  return status;
}

}  // namespace oru_report
