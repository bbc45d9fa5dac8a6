#include "tests/crash_matrix/scenario_process.h"

#include <unistd.h>

namespace crash_test {

const char* ScenarioChild() { return CRASH_SCENARIO_CHILD; }

oru_test::ChildResult RunScenario(const std::string& scenario, const std::string& home,
                                  const std::string& dump_dir, int deadline_ms,
                                  const std::vector<std::string>& options) {
  oru_test::ChildOptions child;
  child.env["HOME"] = home;
  // What it leaves in its working directory is found, too.
  child.cwd = home;
  // Only the standard streams are open, whoever runs the test.
  child.before = [] { closefrom(STDERR_FILENO + 1); };
  // The test's signals are the program's own; a sanitizer leaves them and the stacks alone.
  child.env["ASAN_OPTIONS"] =
      "handle_segv=0:handle_abort=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:"
      "handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0:allocator_may_return_null=1";
  std::vector<std::string> command = {CRASH_SCENARIO_CHILD, scenario, dump_dir,
                                      std::to_string(deadline_ms)};
  command.insert(command.end(), options.begin(), options.end());
  return oru_test::RunChild(command, child);
}

}  // namespace crash_test
