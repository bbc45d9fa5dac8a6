#include "bench/upload/timed_process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

namespace upload_bench {
namespace {

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

[[noreturn]] void Become(const std::vector<std::string>& argv,
                         const std::map<std::string, std::string>& env, const std::string& log) {
  for (const auto& [name, value] : env) setenv(name.c_str(), value.c_str(), 1);
  const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(out, STDOUT_FILENO);
  dup2(out, STDERR_FILENO);
  std::vector<char*> pointers;
  pointers.reserve(argv.size() + 1);
  for (const std::string& text : argv) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  execvp(pointers[0], pointers.data());
  _exit(127);
}

}  // namespace

Cost RunTimed(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
              const std::string& log) {
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) Become(argv, env, log);
  int status = 0;
  rusage usage{};
  Cost cost;
  if (pid < 0 || wait4(pid, &status, 0, &usage) != pid) return cost;
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  cost.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  cost.wall_s = wall.count();
  cost.cpu_s = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  cost.peak_mib = static_cast<double>(usage.ru_maxrss) / 1024;
  return cost;
}

}  // namespace upload_bench
