// Times whole processes, from their start to their end: the command with an upload that returns at
// once, an empty program of the same Foundation, and a plain C program that opens a library and
// calls a function in it. They take turns, so that what else the machine does falls on all alike.
//
//   startup_bench [--runs N] [--json FILE]
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern "C" char** environ;

namespace {

constexpr int kDefaultRuns = 400;

struct Program {
  const char* name;
  std::vector<const char*> argv;
  std::vector<double> milliseconds;
};

struct Options {
  int runs = kDefaultRuns;
  const char* json = nullptr;
};

[[noreturn]] void Fail(const std::string& what) {
  fprintf(stderr, "startup_bench: %s\n", what.c_str());
  exit(1);
}

Options ReadOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string key = argv[i];
    if (key == "--runs")
      options.runs = std::max(1, static_cast<int>(strtol(argv[i + 1], nullptr, 10)));
    else if (key == "--json")
      options.json = argv[i + 1];
    else
      Fail("unknown option " + key);
  }
  return options;
}

// Seconds from before the start to after the end of one run.
double TimeOnce(const Program& program, const posix_spawn_file_actions_t& actions) {
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  const int error = posix_spawn(&pid, program.argv[0], &actions, nullptr,
                                const_cast<char* const*>(program.argv.data()), environ);
  if (error != 0) Fail(std::string(program.name) + ": " + strerror(error));
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || status != 0) {
    Fail(std::string(program.name) + " failed with wait status " + std::to_string(status));
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void TimeAll(int runs, std::vector<Program>* programs) {
  // Log lines go where they cost what a write costs and nobody reads them.
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  // The first round warms the page cache.
  for (int run = -1; run < runs; ++run) {
    for (Program& program : *programs) {
      const double seconds = TimeOnce(program, actions);
      if (run >= 0) program.milliseconds.push_back(seconds * 1e3);
    }
  }
  posix_spawn_file_actions_destroy(&actions);
}

// In the form of Google Benchmark's, a row a run.
void WriteJson(const char* path, const std::vector<Program>& programs) {
  FILE* file = fopen(path, "w");
  if (file == nullptr) Fail(std::string(path) + ": " + strerror(errno));
  fputs("{\n  \"benchmarks\": [", file);
  const char* separator = "\n";
  for (const Program& program : programs) {
    for (const double time : program.milliseconds) {
      fprintf(file, "%s    {\"name\": \"startup/%s/real_time\", \"run_type\": \"iteration\", ",
              separator, program.name);
      fprintf(file, "\"real_time\": %.4f, \"time_unit\": \"ms\"}", time);
      separator = ",\n";
    }
  }
  fputs("\n  ]\n}\n", file);
  if (fclose(file) != 0) Fail(std::string(path) + ": " + strerror(errno));
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = ReadOptions(argc, argv);
  std::vector<Program> programs = {
      {"oru", {ORU_VARNOOK, "-action", "uploadLog", "-libp", ORU_BENCH_LIBRARY_DIR, nullptr}, {}},
      {"empty_gnustep", {ORU_EMPTY_GNUSTEP, nullptr}, {}},
      {"plain_dlopen", {ORU_PLAIN_DLOPEN, ORU_PLAIN_SDK, nullptr}, {}},
  };
  TimeAll(options.runs, &programs);
  for (const Program& program : programs) {
    printf("%-14s median %7.3f ms   least %7.3f ms\n", program.name, Median(program.milliseconds),
           *std::min_element(program.milliseconds.begin(), program.milliseconds.end()));
  }
  const double ratio = Median(programs[0].milliseconds) / Median(programs[1].milliseconds);
  printf("oru / empty_gnustep = %.3f (of medians, %d runs each)\n", ratio, options.runs);
  if (options.json != nullptr) WriteJson(options.json, programs);
  return 0;
}
