// Processes of random rows of the crash matrix, in random order, as many at a time as there are
// processors.
//
//   crash_matrix_loop COUNT [SEED]
//
// Rows that wait for the bound on time get a short one. Exits with 1 when anything was wrong.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "tests/crash_matrix/matrix_rows.h"
#include "tests/crash_matrix/matrix_run.h"
#include "tests/crash_matrix/matrix_table.h"

namespace crash_test {
namespace {

std::vector<size_t> Choices(int count, unsigned seed, size_t rows) {
  std::mt19937 random(seed);
  std::vector<size_t> choices(static_cast<size_t>(count));
  std::generate(choices.begin(), choices.end(), [&] { return random() % rows; });
  return choices;
}

class Loop {
 public:
  Loop(int count, unsigned seed) : choices_(Choices(count, seed, MatrixRows().size())) {
    for (const Row& row : MatrixRows()) lines_.push_back({row.name, {}});
  }

  // Whether nothing was wrong.
  bool Run() {
    std::vector<std::thread> runners;
    for (unsigned i = std::max(1U, std::thread::hardware_concurrency()); i > 0; --i) {
      runners.emplace_back([this] { RunSome(); });
    }
    for (std::thread& runner : runners) runner.join();
    PrintTable(lines_);
    return std::all_of(lines_.begin(), lines_.end(),
                       [](const TableLine& line) { return line.result.wrong.empty(); });
  }

 private:
  void RunSome() {
    for (size_t i = next_++; i < choices_.size(); i = next_++) {
      const RowResult result = RunRow(MatrixRows()[choices_[i]], {});
      const std::lock_guard<std::mutex> lock(mutex_);
      lines_[choices_[i]].result.Add(result);
      if (++done_ % 500 == 0) fprintf(stderr, "%zu of %zu\n", done_, choices_.size());
    }
  }

  const std::vector<size_t> choices_;
  std::atomic<size_t> next_{0};
  std::mutex mutex_;
  size_t done_ = 0;
  std::vector<TableLine> lines_;
};

int Main(int argc, char** argv) {
  const int count = argc > 1 ? atoi(argv[1]) : 0;
  if (count < 1) {
    fputs("crash_matrix_loop: how many processes?\n", stderr);
    return 2;
  }
  const unsigned seed =
      argc > 2 ? static_cast<unsigned>(strtoul(argv[2], nullptr, 10)) : std::random_device{}();
  printf("seed %u\n", seed);
  return Loop(count, seed).Run() ? 0 : 1;
}

}  // namespace
}  // namespace crash_test

int main(int argc, char** argv) { return crash_test::Main(argc, argv); }
