// A process and what it cost.
#ifndef BENCH_UPLOAD_TIMED_PROCESS_H_
#define BENCH_UPLOAD_TIMED_PROCESS_H_

#include <map>
#include <string>
#include <vector>

namespace upload_bench {

struct Cost {
  // The exit status, or -1.
  int exit_code = -1;
  double wall_s = 0;
  // User and system time, with those of its own children that it waited for.
  double cpu_s = 0;
  // Of the largest of them.
  double peak_mib = 0;
};

// Runs argv (argv[0] is searched in PATH) to its end, with `env` added to the environment; its
// output goes to the file `log`.
Cost RunTimed(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
              const std::string& log);

}  // namespace upload_bench

#endif  // BENCH_UPLOAD_TIMED_PROCESS_H_
