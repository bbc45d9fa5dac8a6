// What `oru-report` can do.
#ifndef ORU_REPORT_COMMANDS_COMMANDS_H_
#define ORU_REPORT_COMMANDS_COMMANDS_H_

#include <string>
#include <vector>

#include "oru_report/commands/options.h"

namespace oru_report {

// Exit statuses.
constexpr int kOk = 0;
// Something could not be read or written, or was not whole.
constexpr int kFailed = 1;
constexpr int kUsage = 2;

struct Command {
  const char* name;
  // Behind "oru-report ".
  const char* usage;
  const char* help;
  // How many paths, and what a person is told of them.
  size_t least_inputs;
  size_t most_inputs;
  const char* needs;
  int (*run)(const Options& options);
};

const std::vector<Command>& AllCommands();

// Null for an unknown name.
const Command* FindCommand(const std::string& name);

int RunList(const Options& options);
int RunShow(const Options& options);
int RunHtml(const Options& options);
int RunJson(const Options& options);
int RunGroup(const Options& options);
int RunDiff(const Options& options);
int RunDoctor(const Options& options);

// Prints "oru-report: MESSAGE" on standard error, made safe for a terminal, and returns `status`.
int TellError(const std::string& message, int status = kFailed);

}  // namespace oru_report

#endif  // ORU_REPORT_COMMANDS_COMMANDS_H_
