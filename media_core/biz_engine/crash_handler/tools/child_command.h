// Runs a program to its end, within a bound.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CHILD_COMMAND_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CHILD_COMMAND_H_

#include <spawn.h>

#include <functional>
#include <string>
#include <vector>

namespace CrashHandler::dumps {

struct ChildEnd {
  bool started = false;
  bool timed_out = false;
};

// Starts `argv` (argv[0] is the program's path) in a process group of its own, without a shell,
// with /dev/null for input and output, the signal mask and actions of a fresh process, and no
// descriptor but the standard ones. Hands each line of its standard error to `on_line`, on this
// thread, cut at 4 KiB. Returns when it has ended; after `limit_s` seconds its group is sent
// SIGTERM, two seconds later SIGKILL.
ChildEnd RunChildCommand(const std::vector<std::string>& argv, int limit_s,
                         const std::function<void(const std::string& line)>& on_line);

// The platform's way to leave the child no descriptor but 0, 1 and 2. Called with both initialised
// and `flags` to be set on the attributes later; false when that cannot be had.
bool InheritStandardDescriptorsOnly(posix_spawn_file_actions_t* actions, short* flags);

}  // namespace CrashHandler::dumps

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CHILD_COMMAND_H_
