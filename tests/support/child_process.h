// Runs programs, and functions of the test itself, in child processes with a bound on time.
#ifndef TESTS_SUPPORT_CHILD_PROCESS_H_
#define TESTS_SUPPORT_CHILD_PROCESS_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace oru_test {

struct ChildOptions {
  // Added to the parent's environment; bytes are passed as they stand.
  std::map<std::string, std::string> env;
  // Names taken out of the environment before `env` is added.
  std::vector<std::string> unset_env;
  // The whole environment is replaced by `env` (the parent's is not inherited).
  bool clear_env = false;
  // Working folder; the parent's when empty.
  std::string cwd;
  // What the child reads on standard input.
  std::string input;
  // Seconds after which the child is killed and `timed_out` is set.
  double timeout_s = 30;
  // Runs in the child just before the program (or function) starts: limits, masks, ...
  std::function<void()> before;
};

struct ChildResult {
  // The exit status, or -1 when a signal ended the child.
  int exit_code = -1;
  // The signal that ended the child, or 0.
  int signal = 0;
  bool timed_out = false;
  std::string out;
  std::string err;
  // From start to end.
  double wall_s = 0;
  // Peak resident set of the child, in KiB.
  long peak_rss_kib = 0;

  // "exit 3", "signal 11 (Segmentation fault)" or "timed out": for messages.
  std::string Ending() const;
};

// Runs a program (argv[0] is its path, not searched in PATH) to its end.
ChildResult RunChild(const std::vector<std::string>& argv, const ChildOptions& options = {});

// Runs `body` in a forked child, which exits with its result. Only for tests whose process has no
// other threads at that moment.
ChildResult RunInFork(const std::function<int()>& body, const ChildOptions& options = {});

}  // namespace oru_test

#endif  // TESTS_SUPPORT_CHILD_PROCESS_H_
