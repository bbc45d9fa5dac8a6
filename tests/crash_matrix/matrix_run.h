// Runs a row of the crash matrix and says what is wrong.
#ifndef TESTS_CRASH_MATRIX_MATRIX_RUN_H_
#define TESTS_CRASH_MATRIX_MATRIX_RUN_H_

#include <map>
#include <set>
#include <string>

#include "tests/crash_matrix/matrix_rows.h"

namespace crash_test {

// No process may take longer from its start to its end, in seconds.
constexpr double kEndWithin = 10;

struct RowResult {
  int repetitions = 0;
  // What was wrong, and how often.
  std::map<std::string, int> wrong;
  double slowest_s = 0;
  // What the processes said for the reader of the table.
  std::set<std::string> notes = {};

  // How many runs were wrong.
  int Wrong() const;
  void Add(const RowResult& other);
};

struct RunOptions {
  int repetitions = 1;
  // The bound on time is the product's own, else a short one where the row waits for it.
  bool real_deadline = false;
  // Reports have companions, which must be valid and complete.
  bool companions = false;
};

// Runs the row that often, several processes at a time.
RowResult RunRow(const Row& row, const RunOptions& options);

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_MATRIX_RUN_H_
